#include "errortrap/trace_file.h"

#include <optional>

#include "base/run_time_error.h"

namespace hq {

namespace {

constexpr int MostNames = 99;
// More than other programs can start in the moment between an open and a lock; some file systems never tell
// the same file by the same number.
constexpr int MostTries = 100;

std::string Name_Of(int number) {
  if (number == 1) return std::string(TraceFileName);
  const std::size_t end = TraceFileName.rfind('.');
  return std::string(TraceFileName.substr(0, end)) + "-" + std::to_string(number) +
         std::string(TraceFileName.substr(end));
}

std::unique_ptr<LogFile> Begin(Files& files, const std::string& path) {
  for (int i = 0; i < MostTries; ++i) {
    auto file = std::make_unique<LogFile>(path, LogFile::Begin::AtTheEnd);
    file->Lock();
    // Another start may have moved the file away before it could be locked.
    if (!file->Is_At_Its_Path()) continue;
    if (file->Size() == 0) return file;
    // The lock keeps other starts from doing the same.
    files.Rename(path, path + ".bak");
  }
  throw RunTimeError(PermissionDenied, path + ": it is moved away again and again");
}

}  // namespace

std::unique_ptr<LogFile> Begin_Trace_File(Files& files, const std::string& folder) {
  std::optional<RunTimeError> refusal;
  for (int number = 1; number <= MostNames; ++number) {
    try {
      return Begin(files, Join_Path(folder, Name_Of(number)));
    } catch (const RunTimeError& error) {
      if (error.Number() != PermissionDenied) throw;
      if (!refusal) refusal = error;
    }
  }
  throw RunTimeError(*refusal);
}

}  // namespace hq
