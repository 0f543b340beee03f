#include "server/archive/archive_file.h"

#include <algorithm>
#include <fstream>
#include <system_error>
#include <thread>

#include "platform/paths.h"

namespace hq::server {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono;

// "HQqa", by which a database is known as an archive.
constexpr int application_id = 0x48517161;
constexpr int schema_version = 1;
// How long to wait before a busy file is tried again.
constexpr milliseconds busy_pause{5};
// Up to this size a file is looked through when it is opened; damage of larger ones shows when it is met.
constexpr std::uintmax_t checked_at_opening = std::uintmax_t{4} << 20U;

constexpr const char* schema = R"(
CREATE TABLE series(
  id INTEGER PRIMARY KEY,
  source TEXT NOT NULL,
  symbol TEXT NOT NULL,
  interval INTEGER NOT NULL,
  adjustment TEXT NOT NULL,
  fetched INTEGER NOT NULL,
  known_until INTEGER NOT NULL,
  zone TEXT NOT NULL,
  us_sessions INTEGER NOT NULL,
  UNIQUE(source, symbol, interval, adjustment));
CREATE TABLE bars(
  series INTEGER NOT NULL,
  at INTEGER NOT NULL,
  open REAL NOT NULL,
  high REAL NOT NULL,
  low REAL NOT NULL,
  close REAL NOT NULL,
  volume INTEGER NOT NULL,
  fetched INTEGER NOT NULL,
  final INTEGER NOT NULL,
  PRIMARY KEY(series, at)) WITHOUT ROWID;
CREATE TABLE answered(
  series INTEGER NOT NULL,
  first INTEGER NOT NULL,
  last INTEGER NOT NULL,
  PRIMARY KEY(series, first)) WITHOUT ROWID;
CREATE TABLE refusals(
  source TEXT NOT NULL,
  symbol TEXT NOT NULL,
  interval INTEGER NOT NULL,
  reason TEXT NOT NULL,
  until INTEGER NOT NULL,
  PRIMARY KEY(source, symbol, interval)) WITHOUT ROWID;
CREATE TABLE pacing(
  service TEXT PRIMARY KEY,
  closed_until INTEGER NOT NULL,
  reason TEXT NOT NULL,
  closings INTEGER NOT NULL) WITHOUT ROWID;
CREATE TABLE taken(
  service TEXT NOT NULL,
  at INTEGER NOT NULL,
  tokens INTEGER NOT NULL);
CREATE INDEX taken_by_service ON taken(service, at);
)";

fs::path With_Ending(const fs::path& file, const std::string& ending) {
  fs::path longer = file;
  longer += ending;
  return longer;
}

// Whether the database is an archive; false when it is empty. Raises ArchiveError when it is none of ours.
bool Is_Archive(SqliteDatabase& database) {
  const auto id = database.Number("PRAGMA application_id");
  const auto version = database.Number("PRAGMA user_version");
  if (id == 0 && version == 0 && database.Number("SELECT count(*) FROM sqlite_master") == 0) return false;
  if (id != application_id) throw SqliteError::Damage("it is the database of another program");
  if (version != schema_version) throw ArchiveError("it was made by another version of the program");
  return true;
}

// Makes a connection ready for use. Raises SqliteError, and ArchiveError when the file is none of ours.
void Prepare(SqliteDatabase& database, bool look_through, milliseconds busy_time) {
  database.Keep_Safe(busy_time);
  if (look_through) {
    auto check = database.Use("PRAGMA quick_check(1)");
    if (check.Step() && check.String(0) != "ok") throw SqliteError::Damage(check.String(0));
  }
  // Without a change: another process may be in the middle of a long one.
  if (Is_Archive(database)) return;
  SqliteDatabase::Change change{database};
  if (!Is_Archive(database)) {
    database.Run(schema);
    database.Run(("PRAGMA application_id=" + std::to_string(application_id)).c_str());
    database.Run(("PRAGMA user_version=" + std::to_string(schema_version)).c_str());
  }
  change.Commit();
}

}  // namespace

ArchiveFile::ArchiveFile(fs::path file, Reporter report, milliseconds busy_time)
    : file_(std::move(file)), report_(std::move(report)), busy_time_(busy_time) {
  const std::lock_guard lock{mutex_};
  try {
    Open();
  } catch (const SqliteError& error) {
    Report(Not_Usable_Now(error.what()));
  }
}

void ArchiveFile::Report(std::string line) const {
  // What the database says of damage has several lines.
  std::ranges::replace(line, '\n', ' ');
  if (report_) report_(line);
}

void ArchiveFile::Open() {
  database_.reset();
  is_kept_ = false;
  if (file_.empty()) {
    database_ = std::make_unique<SqliteDatabase>(fs::path{});
    Prepare(*database_, false, busy_time_);
    return;
  }
  const auto begin = steady_clock::now();
  for (bool was_set_aside = false;;) {
    try {
      std::error_code unknown;
      if (fs::is_directory(file_, unknown)) return Open_In_Memory("a folder has its name");
      if (fs::is_other(file_, unknown)) return Open_In_Memory("what has its name is no file");
      // Made before the first byte goes in, so that nobody else ever reads one.
      if (!fs::exists(file_, unknown)) std::ofstream{file_, std::ios::app};
      fs::permissions(file_, fs::perms::owner_read | fs::perms::owner_write, unknown);
      auto database = std::make_unique<SqliteDatabase>(file_);
      const auto size = fs::file_size(file_, unknown);
      Prepare(*database, !unknown && size <= checked_at_opening, busy_time_);
      database_ = std::move(database);
      is_kept_ = true;
      return;
    } catch (const SqliteError& error) {
      if (error.Is_Busy()) {
        // Where two begin one file the library does not wait by itself.
        if (steady_clock::now() - begin >= busy_time_) throw;
        std::this_thread::sleep_for(busy_pause);
        continue;
      }
      if (!error.Is_Damage() || was_set_aside) return Open_In_Memory(error.what());
      Set_Aside(error.what());
      was_set_aside = true;
    } catch (const ArchiveError& error) {
      return Open_In_Memory(error.what());
    }
  }
}

void ArchiveFile::Open_In_Memory(const std::string& reason) {
  Report("The archive " + Utf8_Text(file_) + " can't be used (" + reason +
         "): quotes are kept in memory until the program ends.");
  database_ = std::make_unique<SqliteDatabase>(fs::path{});
  Prepare(*database_, false, busy_time_);
}

std::string ArchiveFile::Not_Usable_Now(const std::string& reason) const {
  return "The archive " + Utf8_Text(file_) + " can't be used now: " + reason + ".";
}

void ArchiveFile::Set_Aside(const std::string& reason) {
  std::error_code failed;
  for (int number = 1; number < 10000; ++number) {
    const fs::path aside = With_Ending(file_, ".damaged-" + std::to_string(number));
    if (fs::exists(aside, failed)) continue;
    fs::rename(file_, aside, failed);
    if (failed) break;
    // They belong to the old file, and would spoil a new one of its name.
    for (const char* ending : {"-wal", "-shm"}) {
      std::error_code ignored;
      fs::rename(With_Ending(file_, ending), With_Ending(aside, ending), ignored);
    }
    return Report("The archive " + Utf8_Text(file_) + " is damaged (" + reason + "). It was set aside as " +
                  Utf8_Text(aside.filename()) + " and begun anew.");
  }
  Report("The archive " + Utf8_Text(file_) + " is damaged (" + reason +
         ") and can't be set aside: " + (failed ? failed.message() : "too many damaged ones are kept") + ".");
}

bool ArchiveFile::Is_Kept() const {
  const std::lock_guard lock{mutex_};
  return is_kept_;
}

std::uintmax_t ArchiveFile::Size() const {
  if (!Is_Kept()) return 0;
  std::uintmax_t sum = 0;
  for (const char* ending : {"", "-wal", "-shm"}) {
    std::error_code missing;
    const auto size = fs::file_size(With_Ending(file_, ending), missing);
    if (!missing) sum += size;
  }
  return sum;
}

}  // namespace hq::server
