#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <windows.h>

#include "platform/crash.h"
#include "platform/crash_texts.h"
#include "platform/thread_name.h"

namespace hq {

namespace {

// Kept free on the main thread's stack, so that a stack that has overflowed can be told of.
constexpr ULONG HandlerStackBytes = 128UL << 10U;

// A filter of faults is handed nothing of its own, so what it works with lies in a fixed place.
std::atomic<CrashHandler*> handler_now = nullptr;
std::atomic<bool> crashed = false;
std::atomic<DWORD> crashed_thread = 0;
std::atomic<DWORD> watch_thread = 0;

std::string_view Fault_Name(DWORD code) {
  switch (code) {
    case EXCEPTION_ACCESS_VIOLATION:
      return "Access violation";
    case EXCEPTION_IN_PAGE_ERROR:
      return "Page that can't be read";
    case EXCEPTION_ARRAY_BOUNDS_EXCEEDED:
      return "Array bounds exceeded";
    case EXCEPTION_DATATYPE_MISALIGNMENT:
      return "Misaligned data";
    case EXCEPTION_ILLEGAL_INSTRUCTION:
      return "Illegal instruction";
    case EXCEPTION_PRIV_INSTRUCTION:
      return "Privileged instruction";
    case EXCEPTION_INT_DIVIDE_BY_ZERO:
      return "Division by zero";
    case EXCEPTION_INT_OVERFLOW:
      return "Integer overflow";
    case EXCEPTION_FLT_DIVIDE_BY_ZERO:
    case EXCEPTION_FLT_INVALID_OPERATION:
    case EXCEPTION_FLT_OVERFLOW:
    case EXCEPTION_FLT_UNDERFLOW:
      return "Floating-point error";
    case EXCEPTION_STACK_OVERFLOW:
      return "Stack overflow";
    default:
      return "Fault";
  }
}

// "Access violation (0xC0000005)".
FixedText<64> Fault_Text(DWORD code) {
  constexpr std::string_view Digits = "0123456789ABCDEF";
  FixedText<64> text;
  text << Fault_Name(code) << " (0x";
  for (int shift = 28; shift >= 0; shift -= 4) {
    text << Digits.substr(code >> static_cast<unsigned>(shift) & 15U, 1);
  }
  text << ")";
  return text;
}

FixedText<32> Local_Time_Text() {
  using namespace std::chrono;
  SYSTEMTIME now;
  GetLocalTime(&now);
  return Crash_Time_Text(year(now.wYear) / month(now.wMonth) / day(now.wDay),
                         hh_mm_ss<seconds>(hours(now.wHour) + minutes(now.wMinute) + seconds(now.wSecond)));
}

// Tells the handler of the process's first crash. A thread that crashes while another one tells never comes
// back from here: the process is about to end. A crash inside the telling comes back with nothing done.
void Tell(int number, std::string_view description) {
  if (crashed.exchange(true)) {
    if (crashed_thread != GetCurrentThreadId()) Sleep(INFINITE);
    return;
  }
  crashed_thread = GetCurrentThreadId();
  if (CrashHandler* const handler = handler_now) {
    const auto when = Local_Time_Text();
    FixedText<64> thread;
    if (watch_thread != GetCurrentThreadId()) {
      const ThreadIdentity mine = ThreadIdentity::Mine();
      thread = Crash_Thread_Text(mine.Number, mine.Name);
    }
    handler->Crashed({number, description, when.Text(), thread.Text()});
  }
}

LONG WINAPI On_Fault(EXCEPTION_POINTERS* fault) {
  const DWORD code = fault->ExceptionRecord->ExceptionCode;
  const auto text = Fault_Text(code);
  Tell(static_cast<int>(code), text.Text());
  // The process ends as it would without this filter.
  return EXCEPTION_CONTINUE_SEARCH;
}

void On_Abort(int number) {
  Tell(number, "Aborted (SIGABRT)");
}

[[noreturn]] void On_Terminate() {
  const FixedText<1024> text = Termination_Text();
  Tell(SIGABRT, text.Text());
  // The abort is told already.
  signal(SIGABRT, SIG_DFL);
  std::abort();
}

}  // namespace

class CrashWatch::Handlers {
 public:
  explicit Handlers(CrashHandler& handler) {
    CrashHandler* nobody = nullptr;
    if (!handler_now.compare_exchange_strong(nobody, &handler)) {
      throw std::logic_error("a second crash watch");
    }
    watch_thread = GetCurrentThreadId();
    ULONG stack = HandlerStackBytes;
    SetThreadStackGuarantee(&stack);
    filter_before_ = SetUnhandledExceptionFilter(On_Fault);
    abort_before_ = signal(SIGABRT, On_Abort);
    terminate_before_ = std::set_terminate(On_Terminate);
  }
  Handlers(const Handlers&) = delete;
  Handlers& operator=(const Handlers&) = delete;
  ~Handlers() {
    std::set_terminate(terminate_before_);
    signal(SIGABRT, abort_before_);
    SetUnhandledExceptionFilter(filter_before_);
    handler_now = nullptr;
  }

 private:
  LPTOP_LEVEL_EXCEPTION_FILTER filter_before_ = nullptr;
  void (*abort_before_)(int) = nullptr;
  std::terminate_handler terminate_before_ = nullptr;
};

CrashWatch::CrashWatch(CrashHandler& handler) : handlers_(std::make_unique<Handlers>(handler)) {}

CrashWatch::~CrashWatch() = default;

// Who may read the file is what its folder hands on: a user's folder is the user's own.
CrashFile::CrashFile(const char* path) noexcept
    : handle_(reinterpret_cast<std::intptr_t>(CreateFileA(
          path, FILE_APPEND_DATA | FILE_READ_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
          nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr))) {
  const auto file = reinterpret_cast<HANDLE>(handle_);
  if (file != INVALID_HANDLE_VALUE && GetFileType(file) != FILE_TYPE_DISK) {
    CloseHandle(file);
    handle_ = reinterpret_cast<std::intptr_t>(INVALID_HANDLE_VALUE);
  }
}

CrashFile::~CrashFile() {
  const auto file = reinterpret_cast<HANDLE>(handle_);
  if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
}

std::string_view CrashFile::Last_Byte() noexcept {
  last_byte_ = 0;
  const auto file = reinterpret_cast<HANDLE>(handle_);
  LARGE_INTEGER size;
  if (file == INVALID_HANDLE_VALUE || GetFileSizeEx(file, &size) == 0) return {&last_byte_, 1};
  if (size.QuadPart == 0) return {};
  const auto offset = static_cast<std::uint64_t>(size.QuadPart) - 1;
  OVERLAPPED place{};
  place.Offset = static_cast<DWORD>(offset & 0xffffffffU);
  place.OffsetHigh = static_cast<DWORD>(offset >> 32U);
  DWORD got = 0;
  ReadFile(file, &last_byte_, 1, &got, &place);
  return {&last_byte_, 1};
}

bool CrashFile::Append(std::string_view bytes) const noexcept {
  const auto file = reinterpret_cast<HANDLE>(handle_);
  if (file == INVALID_HANDLE_VALUE) return false;
  while (!bytes.empty()) {
    DWORD written = 0;
    const auto size = static_cast<DWORD>(std::min<size_t>(bytes.size(), 1U << 30U));
    if (WriteFile(file, bytes.data(), size, &written, nullptr) == 0 || written == 0) return false;
    bytes.remove_prefix(written);
  }
  return true;
}

}  // namespace hq
