#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <string_view>

namespace hq {

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

// MM/DD/YYYY HH:MM:SS.
[[nodiscard]] FixedText<32> Crash_Time_Text(std::chrono::year_month_day date,
                                            std::chrono::hh_mm_ss<std::chrono::seconds> clock);

// "thread 4711 (transfer)"; without the name when there is none.
[[nodiscard]] FixedText<64> Crash_Thread_Text(int number, std::string_view name);

// What a handler of std::terminate says of the exception that nobody has caught, or of there being none.
[[nodiscard]] FixedText<1024> Termination_Text();

}  // namespace hq
