#include "platform/crash_texts.h"

#include <cstdlib>
#include <exception>
#include <memory>
#include <typeinfo>

#if __has_include(<cxxabi.h>)
#include <cxxabi.h>
#endif

namespace hq {

namespace {

// Inside a catch block only.
void Append_Type(FixedText<1024>& text) {
#if __has_include(<cxxabi.h>)
  const std::type_info* const type = abi::__cxa_current_exception_type();
  if (type == nullptr) return;
  int status = 0;
  const std::unique_ptr<char, void (*)(void*)> name(
      abi::__cxa_demangle(type->name(), nullptr, nullptr, &status), std::free);
  text << (name ? name.get() : type->name());
#else
  text << "type unknown";
#endif
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

}  // namespace

FixedText<32> Crash_Time_Text(std::chrono::year_month_day date,
                              std::chrono::hh_mm_ss<std::chrono::seconds> clock) {
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

FixedText<64> Crash_Thread_Text(int number, std::string_view name) {
  FixedText<64> text;
  text << "thread ";
  text.Append_Number(number, 1);
  if (!name.empty()) text << " (" << name.substr(0, 32) << ")";
  return text;
}

FixedText<1024> Termination_Text() {
  FixedText<1024> text;
  if (const std::exception_ptr exception = std::current_exception()) {
    text << "Uncaught exception: ";
    Append_Exception(text, exception);
  } else {
    text << "Program terminated (std::terminate)";
  }
  return text;
}

}  // namespace hq
