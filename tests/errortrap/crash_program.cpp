// A program that enters some procedures and then ends in the way that its first argument names. Further
// arguments: the error log's places.

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "errortrap/crash_record.h"
#include "errortrap/procedure.h"
#include "platform/crash.h"
#include "platform/thread_name.h"

namespace {

using hq::modFailSafe;

// The sanitizer of undefined behaviour would end the program before the fault comes.
__attribute__((no_sanitize("undefined"))) void Write_To_Nowhere() {
  auto* volatile nowhere = reinterpret_cast<volatile int*>(std::uintptr_t{8});
  *nowhere = 1;
}

int Overflow_The_Stack(int depth) {
  volatile char room[4096];
  room[depth % 4096] = 1;
  return depth < 0 ? 0 : Overflow_The_Stack(depth + 1) + room[0];
}

[[noreturn]] void Throw(const char* text) {
  throw std::runtime_error(text);
}

struct NoStandardException {};

void Throw_Where_None_May_Leave() noexcept {
  Throw("out of a procedure that lets none out");
}

void Crash_On_Many_Threads() {
  std::atomic<int> ready = 0;
  std::vector<std::thread> threads;
  constexpr int count = 8;
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([&ready] {
      ++ready;
      while (ready < count) std::this_thread::yield();
      Write_To_Nowhere();
    });
  }
  for (std::thread& thread : threads) thread.join();
}

// Crashes itself once the record is written.
class CrashingHandler final : public hq::CrashHandler {
 public:
  CrashingHandler(hq::CrashRecords& records, void (*end)()) : records_(records), end_(end) {}
  void Crashed(const hq::Crash& crash) noexcept override {
    records_.Crashed(crash);
    if (end_ != nullptr) end_();
  }

 private:
  hq::CrashRecords& records_;
  void (*end_)();
};

void End_By(const std::string& way) {
  static const std::map<std::string, void (*)()> ways{
      {"null", Write_To_Nowhere},
      {"again", Write_To_Nowhere},
      {"abort again", Write_To_Nowhere},
      {"divide", [] { std::raise(SIGFPE); }},
      {"illegal", [] { std::raise(SIGILL); }},
#ifdef SIGBUS
      {"bus", [] { std::raise(SIGBUS); }},
#endif
      {"abort", [] { std::abort(); }},
      {"overflow", [] { std::printf("%d\n", Overflow_The_Stack(0)); }},
      {"throw", [] { Throw("something bad\r\nUser Text- on two lines"); }},
      {"throw long", [] { Throw(std::string(5000, 'x').c_str()); }},
      {"throw error", [] { throw hq::RunTimeError(hq::DiskFull, "/some/path"); }},
      {"throw other", [] { throw NoStandardException(); }},
      {"throw number", [] { throw 7; }},
      {"noexcept", Throw_Where_None_May_Leave},
      {"terminate", [] { std::terminate(); }},
      {"thread",
       [] {
         std::thread([] {
           hq::Name_This_Thread("some worker");
           std::printf("%d\n", hq::ThreadIdentity::Mine().Number);
           std::fflush(stdout);
           Write_To_Nowhere();
         }).join();
       }},
      {"throw on thread", [] { std::thread([] { Throw("on a thread"); }).join(); }},
      {"many threads", Crash_On_Many_Threads},
      {"wait",
       [] {
         std::puts("waiting");
         std::fflush(stdout);
         for (;;) std::this_thread::sleep_for(std::chrono::hours(1));
       }},
      {"nothing", [] {}},
  };
  ways.at(way)();
}

// The hooks without the helpers of the procedures, which would pass a standard exception over.
void Enter(modFailSafe& trap, int levels, const std::string& way) {
  struct Procedure {
    explicit Procedure(modFailSafe& entered) : trap(entered) {
      trap.fsPUSH("frmmain1.frm", "Sub Process_Onestock");
    }
    ~Procedure() { trap.fsPOP("frmmain1.frm", "Sub Process_Onestock"); }
    modFailSafe& trap;
  };
  const Procedure procedure(trap);
  if (levels > 1) return Enter(trap, levels - 1, way);
  End_By(way);
}

}  // namespace

int main(int count, char** arguments) {
  const std::string way = arguments[1];
  std::vector<std::string> places;
  int levels = 2;
  std::string indent = " ";
  bool includes_arguments = true;
  std::string private_folder;
  for (int i = 2; i < count; ++i) {
    const std::string argument = arguments[i];
    if (argument.starts_with("levels=")) {
      levels = std::stoi(argument.substr(7));
    } else if (argument.starts_with("indent=")) {
      indent = argument.substr(7);
    } else if (argument.starts_with("private=")) {
      private_folder = argument.substr(8);
    } else if (argument == "no arguments") {
      includes_arguments = false;
    } else {
      places.push_back(argument);
    }
  }
  modFailSafe trap;
  trap.Read_Options = [&] {
    hq::TraceOptions options;
    options.IndentCharacter = indent;
    return options;
  };
  hq::CrashRecords records(trap, "crash-program 1.0.0", places);
  records.Set_Includes_Arguments(includes_arguments);
  if (!private_folder.empty()) records.Set_Last_Place(private_folder, "fsError.log");
  CrashingHandler handler(records, way == "again"         ? Write_To_Nowhere
                                   : way == "abort again" ? static_cast<void (*)()>(std::abort)
                                                          : nullptr);
  if (way == "without a watch") Write_To_Nowhere();
  {
    const hq::CrashWatch watch(handler);
    if (way == "two watches") {
      try {
        const hq::CrashWatch second(handler);
      } catch (const std::logic_error& error) {
        std::puts(error.what());
        return 3;
      }
    } else if (way == "before the first procedure") {
      Write_To_Nowhere();
    } else if (way != "after the watch" && way != "throw after the watch") {
      trap.fsPUSH("global.bas", "Sub Main");
      Enter(trap, levels - 1, way);
      trap.fsPOP("global.bas", "Sub Main");
    }
  }
  if (way == "after the watch") Write_To_Nowhere();
  if (way == "throw after the watch") Throw("nobody watches");
  std::puts("ended");
  return EXIT_SUCCESS;
}
