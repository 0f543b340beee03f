#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

namespace hq {

// Why the process ends. The texts live as long as the call that gets them.
struct Crash {
  int Number = 0;  // of the signal, or the system's own number for the fault
  std::string_view
      Description;          // "Segmentation fault (SIGSEGV)", "Uncaught exception: bad (std::logic_error)"
  std::string_view When;    // local date and time, MM/DD/YYYY HH:MM:SS
  std::string_view Thread;  // empty for the thread that made the watch, otherwise "thread 4711 (transfer)"
};

// Who keeps a record of a crash.
class CrashHandler {
 public:
  CrashHandler() = default;
  CrashHandler(const CrashHandler&) = delete;
  CrashHandler& operator=(const CrashHandler&) = delete;
  virtual ~CrashHandler() = default;

  // Called once, on the thread that crashed and in the middle of whatever it did, maybe on a small stack. It
  // may neither allocate nor free nor lock, and may call of the system only what a signal handler may. A
  // crash in it ends the process at once.
  virtual void Crashed(const Crash& crash) noexcept = 0;
};

// Watches for the end of the process by a fault (bad address, illegal instruction, arithmetic error, abort)
// or by an exception that nobody catches, while it exists. The handler is told; then the process ends as it
// would have without the watch. Make it on the main thread, one at a time in a process; a second one raises
// std::logic_error.
class CrashWatch {
 public:
  // handler outlives the watch.
  explicit CrashWatch(CrashHandler& handler);
  CrashWatch(const CrashWatch&) = delete;
  CrashWatch& operator=(const CrashWatch&) = delete;
  ~CrashWatch();

 private:
  class Handlers;
  std::unique_ptr<Handlers> handlers_;
};

// A file that a crashing process adds its last words to. Allocates nothing and waits for nobody.
class CrashFile {
 public:
  // Opens the file at its end, or makes it; only the user may read and write it then. What is no regular
  // file, or another user's, is not opened. path ends in a NUL.
  explicit CrashFile(const char* path) noexcept;
  CrashFile(const CrashFile&) = delete;
  CrashFile& operator=(const CrashFile&) = delete;
  ~CrashFile();

  // The last byte of the file as it is now: empty for none; a NUL when it can't be read.
  [[nodiscard]] std::string_view Last_Byte() noexcept;

  // Appends bytes. False when not all of them were taken, always so when the file could not be opened.
  bool Append(std::string_view bytes) const noexcept;

 private:
  std::intptr_t handle_;
  char last_byte_ = 0;
};

}  // namespace hq
