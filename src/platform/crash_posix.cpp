#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <fcntl.h>
#include <pthread.h>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "platform/crash.h"
#include "platform/crash_texts.h"
#include "platform/thread_name.h"

namespace hq {

namespace {

constexpr std::array CrashSignals = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};
constexpr size_t HandlerStackBytes = size_t{128} << 10U;

// A handler of signals is handed nothing of its own, so what it works with lies in a fixed place.
std::atomic<CrashHandler*> handler_now = nullptr;
std::atomic<bool> crashed = false;
std::atomic<pthread_t> crashed_thread{};
std::atomic<pthread_t> watch_thread{};
std::atomic<std::time_t> utc_offset = 0;

std::string_view Signal_Text(int number) {
  switch (number) {
    case SIGSEGV:
      return "Segmentation fault (SIGSEGV)";
    case SIGBUS:
      return "Bus error (SIGBUS)";
    case SIGILL:
      return "Illegal instruction (SIGILL)";
    case SIGFPE:
      return "Arithmetic error (SIGFPE)";
    default:
      return "Aborted (SIGABRT)";
  }
}

// The system's own conversion takes a lock. A change to or from summer time since the start is not noticed.
FixedText<32> Local_Time_Text() {
  using namespace std::chrono;
  const sys_seconds now{seconds(time(nullptr) + utc_offset)};
  const auto day = floor<days>(now);
  return Crash_Time_Text(year_month_day(day), hh_mm_ss<seconds>(now - day));
}

// Tells the handler of the process's first crash. A thread that crashes while another one tells never comes
// back from here: the process is about to end. A crash inside the telling comes back with nothing done.
void Tell(int number, std::string_view description) {
  if (crashed.exchange(true)) {
    while (pthread_equal(crashed_thread, pthread_self()) == 0) pause();
    return;
  }
  crashed_thread = pthread_self();
  if (CrashHandler* const handler = handler_now) {
    const auto when = Local_Time_Text();
    FixedText<64> thread;
    if (pthread_equal(watch_thread, pthread_self()) == 0) {
      const ThreadIdentity mine = ThreadIdentity::Mine();
      thread = Crash_Thread_Text(mine.Number, mine.Name);
    }
    handler->Crashed({number, description, when.Text(), thread.Text()});
  }
}

extern "C" void On_Crash_Signal(int number) {
  Tell(number, Signal_Text(number));
  // The signal is taken when this handler has returned: the process ends at the place of the fault.
  signal(number, SIG_DFL);
  raise(number);
}

[[noreturn]] void On_Terminate() {
  const FixedText<1024> text = Termination_Text();
  Tell(SIGABRT, text.Text());
  // The abort is told already.
  signal(SIGABRT, SIG_DFL);
  std::abort();
}

// The stack that the handler runs on, so that also a stack that has overflowed can be told of.
class HandlerStack {
 public:
  HandlerStack() {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    size_ = HandlerStackBytes + page;
    room_ = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (room_ == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "stack of the handler");
    // Below it nothing may be written.
    mprotect(room_, page, PROT_NONE);
    stack_t stack{};
    stack.ss_sp = static_cast<std::byte*>(room_) + page;
    stack.ss_size = HandlerStackBytes;
    sigaltstack(&stack, &before_);
  }
  HandlerStack(const HandlerStack&) = delete;
  HandlerStack& operator=(const HandlerStack&) = delete;
  ~HandlerStack() {
    sigaltstack(&before_, nullptr);
    munmap(room_, size_);
  }

 private:
  void* room_ = nullptr;
  size_t size_ = 0;
  stack_t before_{};
};

std::time_t Utc_Offset() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  return localtime_r(&now, &parts) == nullptr ? 0 : parts.tm_gmtoff;
}

}  // namespace

class CrashWatch::Handlers {
 public:
  explicit Handlers(CrashHandler& handler) {
    CrashHandler* nobody = nullptr;
    if (!handler_now.compare_exchange_strong(nobody, &handler))
      throw std::logic_error("a second crash watch");
    utc_offset = Utc_Offset();
    watch_thread = pthread_self();
    struct sigaction action {};
    action.sa_handler = On_Crash_Signal;
    action.sa_flags = SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    // A fault whose signal is blocked ends the process at once.
    for (const int number : CrashSignals) sigaddset(&action.sa_mask, number);
    for (size_t i = 0; i < CrashSignals.size(); ++i) sigaction(CrashSignals[i], &action, &before_[i]);
    terminate_before_ = std::set_terminate(On_Terminate);
  }
  Handlers(const Handlers&) = delete;
  Handlers& operator=(const Handlers&) = delete;
  ~Handlers() {
    std::set_terminate(terminate_before_);
    for (size_t i = 0; i < CrashSignals.size(); ++i) sigaction(CrashSignals[i], &before_[i], nullptr);
    handler_now = nullptr;
  }

 private:
  HandlerStack stack_;
  std::array<struct sigaction, CrashSignals.size()> before_{};
  std::terminate_handler terminate_before_ = nullptr;
};

CrashWatch::CrashWatch(CrashHandler& handler) : handlers_(std::make_unique<Handlers>(handler)) {}

CrashWatch::~CrashWatch() = default;

namespace {

int Open_For_Last_Words(const char* path) noexcept {
  // A pipe without a reader is not waited for.
  constexpr int How = O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  const int file = open(path, O_RDWR | How, 0600);
  return file >= 0 || errno != EACCES ? file : open(path, O_WRONLY | How, 0600);
}

}  // namespace

CrashFile::CrashFile(const char* path) noexcept : handle_(Open_For_Last_Words(path)) {
  struct stat facts {};
  const auto file = static_cast<int>(handle_);
  if (handle_ >= 0 && fstat(file, &facts) == 0 && S_ISREG(facts.st_mode) &&
      (facts.st_uid == geteuid() || geteuid() == 0)) {
    fchmod(file, 0600);
  } else if (handle_ >= 0) {
    close(file);
    handle_ = -1;
  }
}

CrashFile::~CrashFile() {
  if (handle_ >= 0) close(static_cast<int>(handle_));
}

std::string_view CrashFile::Last_Byte() noexcept {
  last_byte_ = 0;
  const auto file = static_cast<int>(handle_);
  const off_t size = lseek(file, 0, SEEK_END);
  if (size == 0) return {};
  while (size > 0 && pread(file, &last_byte_, 1, size - 1) < 0 && errno == EINTR) {
  }
  return {&last_byte_, 1};
}

bool CrashFile::Append(std::string_view bytes) const noexcept {
  if (handle_ < 0) return false;
  while (!bytes.empty()) {
    const ssize_t count = write(static_cast<int>(handle_), bytes.data(), bytes.size());
    if (count > 0) {
      bytes.remove_prefix(static_cast<size_t>(count));
    } else if (count == 0 || errno != EINTR) {
      return false;
    }
  }
  return true;
}

}  // namespace hq
