#include "server/csv/csv_source.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <tuple>
#include <utility>

#include "base/strings.h"
#include "platform/paths.h"
#include "server/csv/csv_answer.h"

namespace hq::server {
namespace {

namespace fs = std::filesystem;
using std::string_view;

// Tables of files that were not asked for lately are forgotten once they hold this many bars together.
constexpr std::size_t most_cached_bars = 8'000'000;

// The file system's own spelling as UTF-8, on every system.
// How much a file's ending is preferred, 0 the most; none when the file is no quote file.
std::optional<std::size_t> Ending_Rank(const fs::path& file) {
  constexpr auto endings = std::to_array<string_view>({".csv", ".txt", ".tsv"});
  const std::string ending = Lower_Case(Utf8_Text(file.extension()));
  const auto found = std::ranges::find(endings, ending);
  if (found == endings.end()) return std::nullopt;
  return static_cast<std::size_t>(found - endings.begin());
}

bool Fits_File_Name(char c) {
  return string_view{"\\/:*?\"<>|"}.find(c) == string_view::npos;
}

// The lower-case file names, without an ending, that stand for a symbol; the best one first.
std::array<std::string, 3> File_Names_Of(string_view symbol) {
  const std::string whole = Lower_Case(symbol);
  std::string shortened;
  std::string replaced;
  for (const char c : whole) {
    if (Fits_File_Name(c)) shortened += c;
    replaced += Fits_File_Name(c) ? c : '_';
  }
  return {whole, shortened, replaced};
}

class UnreadableFile : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Raises UnreadableFile when the folder can't be listed.
std::vector<fs::path> Quote_Files(const fs::path& folder) {
  std::vector<fs::path> files;
  try {
    for (const fs::directory_entry& entry : fs::directory_iterator{folder}) {
      std::error_code unknown;
      if (Ending_Rank(entry.path()) && entry.is_regular_file(unknown)) files.push_back(entry.path());
    }
  } catch (const fs::filesystem_error& error) {
    throw UnreadableFile("The folder of the quote files can't be listed: " + error.code().message() + ".");
  }
  return files;
}

// Raises UnreadableFile.
std::string Read_File(const fs::path& file, std::uintmax_t size) {
  const std::string name = Utf8_Text(file.filename());
  if (size > CsvSource::Largest_File) {
    throw UnreadableFile(name + " is larger than " + std::to_string(CsvSource::Largest_File >> 20U) +
                         " MiB.");
  }
  errno = 0;
  std::ifstream stream{file, std::ios::binary};
  std::string text(static_cast<std::size_t>(size), '\0');
  if (stream) stream.read(text.data(), static_cast<std::streamsize>(text.size()));
  if (stream.bad() || (!stream && stream.gcount() == 0 && size > 0)) {
    const std::string reason =
        errno != 0 ? std::generic_category().message(errno) : "the system names no reason";
    throw UnreadableFile(name + " can't be read: " + reason + ".");
  }
  text.resize(static_cast<std::size_t>(stream.gcount()));
  return text;
}

}  // namespace

// A file's table with the marks by which a change of the file is seen. The lock keeps several requests from
// reading the same file at once.
struct CsvSource::CachedFile {
  std::mutex Lock;
  std::uintmax_t Size = 0;
  fs::file_time_type Changed;
  std::shared_ptr<const CsvTable> Table;
};

CsvSource::CsvSource(fs::path folder, Reporter report)
    : folder_(std::move(folder)), report_(std::move(report)) {}

CsvSource::~CsvSource() = default;

Answer CsvSource::Bars(const QuoteRequest& request) {
  try {
    const fs::path file = Choose_File(Quote_Files(folder_), request.Symbol);
    if (file.empty()) {
      return Failure{FailureKind::UnknownSymbol,
                     "The folder has no file for the symbol \"" + request.Symbol + "\"."};
    }
    return Answer_From_Table(*Load(file), Utf8_Text(file.filename()), request);
  } catch (const UnreadableFile& unreadable) {
    return Failure{FailureKind::Unreadable, unreadable.what()};
  }
}

std::vector<SymbolEntry> CsvSource::Find_Symbols(string_view text, std::size_t limit) {
  std::vector<fs::path> files;
  try {
    files = Quote_Files(folder_);
  } catch (const UnreadableFile&) {
    return {};
  }
  const std::string wanted = Lower_Case(text);
  std::map<std::string, std::string> symbols;
  for (const fs::path& file : files) {
    const std::string name = Utf8_Text(file.filename());
    if (Lower_Case(name).find(wanted) != std::string::npos)
      symbols.emplace(Upper_Case(Utf8_Text(file.stem())), name);
  }
  std::vector<SymbolEntry> found;
  for (const auto& [symbol, name] : symbols) {
    if (found.size() == limit) break;
    found.push_back({symbol, "file " + name});
  }
  return found;
}

std::string CsvSource::Description() const {
  return "The files in the folder " + Utf8_Text(folder_) + ".";
}

// The symbol is only compared with the names the folder lists, so whatever it holds, it can't lead anywhere
// else.
fs::path CsvSource::Choose_File(const std::vector<fs::path>& files, string_view symbol) {
  const auto names = File_Names_Of(symbol);
  using Rank = std::tuple<std::size_t, std::size_t, std::string>;
  std::vector<std::pair<Rank, const fs::path*>> candidates;
  for (const fs::path& file : files) {
    const auto match = std::ranges::find(names, Lower_Case(Utf8_Text(file.stem())));
    if (match == names.end()) continue;
    const auto name_rank = static_cast<std::size_t>(match - names.begin());
    candidates.push_back({{name_rank, Ending_Rank(file).value_or(0), Utf8_Text(file.filename())}, &file});
  }
  if (candidates.empty()) return {};
  std::ranges::sort(candidates);
  const fs::path chosen = *candidates.front().second;

  if (candidates.size() == 1) return chosen;
  std::string choice = Utf8_Text(chosen) + ": taken for its symbol, so passed over: ";
  for (std::size_t i = 1; i < candidates.size(); ++i)
    choice += (i == 1 ? "" : ", ") + std::get<2>(candidates[i].first);
  bool is_news = false;
  {
    const std::lock_guard lock{mutex_};
    std::string& reported = reported_choices_[chosen];
    is_news = reported != choice;
    reported = choice;
  }
  if (is_news) Report(choice);
  return chosen;
}

std::shared_ptr<CsvSource::CachedFile> CsvSource::Use_Cache(const fs::path& file) {
  const std::lock_guard lock{mutex_};
  CachePlace& place = cache_[file];
  if (!place.File) place.File = std::make_shared<CachedFile>();
  place.Last_Use = ++uses_;
  return place.File;
}

void CsvSource::Limit_Cache(const fs::path& file, std::size_t bars) {
  const std::lock_guard lock{mutex_};
  if (const auto used = cache_.find(file); used != cache_.end()) used->second.Bars = bars;
  std::size_t sum = 0;
  for (const auto& [path, place] : cache_) sum += place.Bars;
  while (sum > most_cached_bars && cache_.size() > 1) {
    const auto oldest =
        std::ranges::min_element(cache_, {}, [](const auto& entry) { return entry.second.Last_Use; });
    sum -= oldest->second.Bars;
    cache_.erase(oldest);
  }
}

std::shared_ptr<const CsvTable> CsvSource::Load(const fs::path& file) {
  const auto place = Use_Cache(file);
  const std::lock_guard lock{place->Lock};

  // Taken before the reading, so that a change while it goes on is seen by the next request.
  std::error_code error;
  const auto size = fs::file_size(file, error);
  const auto changed = error ? fs::file_time_type{} : fs::last_write_time(file, error);
  if (error) throw UnreadableFile(Utf8_Text(file.filename()) + " can't be read: " + error.message() + ".");
  if (place->Table && place->Size == size && place->Changed == changed) return place->Table;

  auto table = std::make_shared<const CsvTable>(Read_Csv(Read_File(file, size)));
  place->Table = table;
  place->Size = size;
  place->Changed = changed;
  Limit_Cache(file, table->Bars.size());
  Report_Bad_Lines(file, *table);
  return table;
}

void CsvSource::Report(const std::string& line) const {
  if (report_) report_(line);
}

void CsvSource::Report_Bad_Lines(const fs::path& file, const CsvTable& table) const {
  for (const BadLine& bad : table.Bad_Lines) {
    Report(Utf8_Text(file) + ":" + std::to_string(bad.Line) + ": passed over, because " + bad.Reason);
  }
  const std::size_t more = table.Bad_Line_Count - table.Bad_Lines.size();
  if (more > 0) Report(Utf8_Text(file) + ": passed over " + std::to_string(more) + " more lines");
}

}  // namespace hq::server
