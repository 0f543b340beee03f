#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "market/quote_source.h"
#include "server/csv/csv_reader.h"

namespace hq::server {

// A source that serves a folder of the user's own files, one a symbol. A file is named like its symbol, in
// any letter case, and ends in .csv, .txt or .tsv; characters that can't stand in file names (\ / : * ? " < >
// |) are left out of the name or replaced by "_". Folders within the folder are not looked into. A file is
// read when it is first asked for and again when its size or time has changed.
class CsvSource final : public QuoteSource {
 public:
  // `folder` need not exist yet. `report` is told once a reading, for each file, which lines were passed over
  // (the first 20 and the number of the others), and of several files for one symbol; it may be empty.
  explicit CsvSource(std::filesystem::path folder, Reporter report = {});
  ~CsvSource() override;

  [[nodiscard]] Answer Bars(const QuoteRequest& request) override;
  [[nodiscard]] std::vector<SymbolEntry> Find_Symbols(std::string_view text, std::size_t limit) override;
  [[nodiscard]] std::string Description() const override;
  [[nodiscard]] bool Real_Quotes() const override { return true; }

  // Files above this size, in bytes, are refused with FailureKind::Unreadable.
  static constexpr std::uintmax_t Largest_File = std::uintmax_t{512} << 20U;

 private:
  struct CachedFile;
  struct CachePlace {
    std::shared_ptr<CachedFile> File;
    std::size_t Bars = 0;
    std::uint64_t Last_Use = 0;
  };

  [[nodiscard]] std::filesystem::path Choose_File(const std::vector<std::filesystem::path>& files,
                                                  std::string_view symbol);
  [[nodiscard]] std::shared_ptr<const CsvTable> Load(const std::filesystem::path& file);
  void Report(const std::string& line) const;
  void Report_Bad_Lines(const std::filesystem::path& file, const CsvTable& table) const;
  [[nodiscard]] std::shared_ptr<CachedFile> Use_Cache(const std::filesystem::path& file);
  void Limit_Cache(const std::filesystem::path& file, std::size_t bars);

  std::filesystem::path folder_;
  Reporter report_;
  std::mutex mutex_;
  std::map<std::filesystem::path, CachePlace> cache_;
  std::uint64_t uses_ = 0;
  std::map<std::filesystem::path, std::string> reported_choices_;
};

}  // namespace hq::server
