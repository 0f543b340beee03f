#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <ctime>
#include <cxxabi.h>
#include <exception>
#include <fcntl.h>
#include <pthread.h>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/stat.h>
#include <system_error>
#include <typeinfo>
#include <unistd.h>

#include "platform/crash.h"

namespace hq {

namespace {

constexpr std::array CrashSignals = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};
constexpr size_t HandlerStackBytes = size_t{128} << 10U;

// A handler of signals is handed nothing of its own, so what it works with lies in a fixed place.
std::atomic<CrashHandler*> handler_now = nullptr;
std::atomic<bool> crashed = false;
std::atomic<pthread_t> crashed_thread{};
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

// Text of limited length, put together without an allocation; what does not fit is cut.
template <size_t Size>
class FixedText {
 public:
  FixedText& operator<<(std::string_view text) {
    const size_t count = std::min(text.size(), bytes_.size() - length_);
    std::copy_n(text.data(), count, bytes_.data() + length_);
    length_ += count;
    return *this;
  }
  void Append_Number(int number, int digits) {
    for (int limit = 10; digits > 1; --digits, limit *= 10) {
      if (number < limit) *this << "0";
    }
    std::array<char, 12> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
    *this << std::string_view(text.data(), static_cast<size_t>(end - text.data()));
  }
  [[nodiscard]] std::string_view Text() const { return {bytes_.data(), length_}; }

 private:
  std::array<char, Size> bytes_{};
  size_t length_ = 0;
};

// The system's own conversion takes a lock. A change to or from summer time since the start is not noticed.
FixedText<32> Local_Time_Text() {
  using namespace std::chrono;
  const sys_seconds now{seconds(time(nullptr) + utc_offset)};
  const auto day = floor<days>(now);
  const year_month_day date(day);
  const hh_mm_ss clock(now - day);
  FixedText<32> text;
  text.Append_Number(static_cast<int>(static_cast<unsigned>(date.month())), 2);
  text << "/";
  text.Append_Number(static_cast<int>(static_cast<unsigned>(date.day())), 2);
  text << "/";
  text.Append_Number(static_cast<int>(date.year()), 4);
  text << " ";
  text.Append_Number(static_cast<int>(clock.hours().count()), 2);
  text << ":";
  text.Append_Number(static_cast<int>(clock.minutes().count()), 2);
  text << ":";
  text.Append_Number(static_cast<int>(clock.seconds().count()), 2);
  return text;
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
    handler->Crashed({number, description, when.Text()});
  }
}

extern "C" void On_Crash_Signal(int number) {
  Tell(number, Signal_Text(number));
  // The signal is taken when this handler has returned: the process ends at the place of the fault.
  signal(number, SIG_DFL);
  raise(number);
}

// Inside a catch block only.
void Append_Type(FixedText<1024>& text) {
  const std::type_info* const type = abi::__cxa_current_exception_type();
  if (type == nullptr) return;
  int status = 0;
  const std::unique_ptr<char, void (*)(void*)> name(
      abi::__cxa_demangle(type->name(), nullptr, nullptr, &status), std::free);
  text << (name ? name.get() : type->name());
}

void Append_Exception(FixedText<1024>& text, const std::exception_ptr& exception) {
  try {
    std::rethrow_exception(exception);
  } catch (const std::exception& error) {
    text << error.what() << " (";
    Append_Type(text);
    text << ")";
  } catch (...) {
    Append_Type(text);
  }
}

[[noreturn]] void On_Terminate() {
  FixedText<1024> text;
  if (const std::exception_ptr exception = std::current_exception()) {
    text << "Uncaught exception: ";
    Append_Exception(text, exception);
  } else {
    text << "Program terminated (std::terminate)";
  }
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

CrashFile::CrashFile(const char* path) noexcept
    // A pipe without a reader is not waited for.
    : handle_(open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0600)) {
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
