#pragma once

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "market/bar.h"
#include "market/exchange_clock.h"
#include "market/quote_source.h"

namespace hq::server {

inline Day Date(int year, unsigned month, unsigned day) {
  return std::chrono::year{year} / std::chrono::month{month} / std::chrono::day{day};
}

inline std::chrono::seconds At(int hour, int minute, int second = 0) {
  return std::chrono::hours{hour} + std::chrono::minutes{minute} + std::chrono::seconds{second};
}

// A clock that stands still.
inline ExchangeClock Fixed_Clock(Day date, std::chrono::seconds time) {
  return [=] { return ExchangeTime{date, time}; };
}

inline void PrintTo(const Bar& bar, std::ostream* out) {
  const std::chrono::year_month_day date{bar.Date};
  *out << static_cast<int>(date.year()) << '-' << static_cast<unsigned>(date.month()) << '-'
       << static_cast<unsigned>(date.day()) << ' ' << bar.Start.count() / 3600 << ':'
       << bar.Start.count() / 60 % 60 << ':' << bar.Start.count() % 60 << ' ' << bar.Open << ' ' << bar.High
       << ' ' << bar.Low << ' ' << bar.Close << ' ' << bar.Volume;
}

// The bars of an answer; none, and a failed test, when the answer is a failure.
inline std::vector<Bar> Bars_Of(const Answer& answer) {
  if (const auto* failure = std::get_if<Failure>(&answer)) {
    ADD_FAILURE() << failure->Reason;
    return {};
  }
  return std::get<BarTable>(answer).Bars;
}

// The failure of an answer; a failed test when the answer is none.
inline Failure Failure_Of(const Answer& answer) {
  if (const auto* failure = std::get_if<Failure>(&answer)) return *failure;
  ADD_FAILURE() << "the request was answered";
  return {};
}

inline std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t begin = 0;
  for (auto end = text.find('\n'); end != std::string::npos; end = text.find('\n', begin)) {
    lines.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  if (begin < text.size()) lines.push_back(text.substr(begin));
  return lines;
}

// A folder of its own for one test, removed with all it holds at the end.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    const auto* test = testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string{"quotes-"} + test->test_suite_name() + "-" + test->name() + "-" +
                       std::to_string(std::chrono::steady_clock::now().time_since_epoch().count());
    // Tests with parameters have it in their names.
    std::ranges::replace(name, '/', '-');
    path_ = std::filesystem::temp_directory_path() / name;
    std::filesystem::create_directory(path_);
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  [[nodiscard]] const std::filesystem::path& Path() const { return path_; }

  std::filesystem::path Write(const std::string& name, std::string_view text) const {
    const auto file = path_ / name;
    std::ofstream stream{file, std::ios::binary};
    stream << text;
    return file;
  }

 private:
  std::filesystem::path path_;
};

}  // namespace hq::server
