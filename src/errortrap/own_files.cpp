#include "errortrap/own_files.h"

#include <algorithm>
#include <string_view>
#include <system_error>

#include "platform/paths.h"
#include "platform/program.h"
#include "platform/program_places.h"

namespace hq {

namespace fs = std::filesystem;

namespace {

// Each in all its forms: with ".bak" behind it, "-wal", ".example" and the like.
constexpr std::string_view Data[] = {"user.cfg",  "server.ini",  "FSCLIENT.INI", "quotes.db",
                                     "trace.log", "fserror.log", "!error!.log"};
// As they stand, and on Windows with ".exe" or ".txt".
constexpr std::string_view Others[] = {"history-quotes", "history-quotes-cli", "quote-server",
                                       "t8.ico",         "error-help.html",    "LICENSE",
                                       "README",         InstalledCopyMark};
constexpr std::string_view Libraries[] = {".exe", ".dll"};
constexpr std::string_view Folders[] = {"sources", "licences"};

// "trace-2.log" as "trace.log".
std::string Without_Number(std::string key) {
  constexpr std::string_view Begin = "trace";
  if (!key.starts_with(std::string(Begin) + '-')) return key;
  const std::size_t end = key.find_first_not_of("0123456789", Begin.size() + 1);
  if (end != Begin.size() + 1 && end != std::string::npos) key.erase(Begin.size(), end - Begin.size());
  return key;
}

bool Is_Own_Name(const fs::path& name) {
  const std::string key = Without_Number(File_Name_Key(name));
  const auto is_data = [&](std::string_view own) {
    const std::string own_key = File_Name_Key(own);
    return key == own_key || key.starts_with(own_key + '.') || key.starts_with(own_key + '-');
  };
  const auto is_other = [&](std::string_view own) {
    const std::string own_key = File_Name_Key(own);
    return key == own_key || key == own_key + ".exe" || key == own_key + ".txt";
  };
  return std::any_of(std::begin(Data), std::end(Data), is_data) ||
         std::any_of(std::begin(Others), std::end(Others), is_other) ||
         std::any_of(std::begin(Libraries), std::end(Libraries),
                     [&](std::string_view end) { return key.ends_with(end); });
}

bool Are_One(const fs::path& one, const fs::path& other) {
  std::error_code error;
  return one == other || (fs::equivalent(one, other, error) && !error);
}

bool Holds(const fs::path& home, const fs::path& place) {
  if (Are_One(place.parent_path(), home) && Is_Own_Name(place.filename())) return true;
  for (fs::path folder = place.parent_path(); folder.has_relative_path(); folder = folder.parent_path()) {
    const auto is_folder = [&](std::string_view own) { return Are_One(folder, home / own); };
    if (std::any_of(std::begin(Folders), std::end(Folders), is_folder)) return true;
  }
  // By a second name of the file, or another letter case where the disk does not tell them apart.
  const auto is_here = [&](std::string_view own) { return Are_One(place, home / own); };
  return std::any_of(std::begin(Data), std::end(Data), is_here) ||
         std::any_of(std::begin(Others), std::end(Others), is_here);
}

}  // namespace

OwnFiles::OwnFiles(const std::string& program_folder)
    : homes_{Place_Of(System_Path(program_folder)), Place_Of(System_Path(Program_Folder()))} {}

bool OwnFiles::Hold(const std::string& path) const {
  const fs::path place = Place_Of(System_Path(path));
  return std::any_of(homes_.begin(), homes_.end(), [&](const fs::path& home) { return Holds(home, place); });
}

bool Is_Same_File(const std::string& one, const std::string& other) {
  const fs::path place = Place_Of(System_Path(one));
  const fs::path other_place = Place_Of(System_Path(other));
  return Are_One(place, other_place) ||
         (Are_One(place.parent_path(), other_place.parent_path()) &&
          File_Name_Key(place.filename()) == File_Name_Key(other_place.filename()));
}

}  // namespace hq
