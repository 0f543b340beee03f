#pragma once

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "market/trading_calendar.h"
#include "server/live/live_source.h"
#include "server/live/scripted_fetcher.h"
#include "server/services/answer_writer.h"

// What tests of live sources share: a clock that the test moves, a market, and a service that replays it.
namespace hq::server {

class TestClock {
 public:
  explicit TestClock(PacingTime start) : now_(start.time_since_epoch().count()) {}

  [[nodiscard]] PacingTime Now() const { return PacingTime{std::chrono::milliseconds{now_.load()}}; }
  void Set(PacingTime time) { now_ = time.time_since_epoch().count(); }
  void Advance(std::chrono::milliseconds time) { now_ += time.count(); }

  // Options by which a live source runs on this clock and its waits only move it.
  [[nodiscard]] LiveOptions Options() {
    LiveOptions options;
    options.Program = "history-quotes/test";
    options.Clock = [this] { return Now(); };
    options.Wait = [this](std::chrono::milliseconds time) {
      {
        const std::lock_guard lock{mutex_};
        waits_.push_back(time);
      }
      Advance(time);
    };
    return options;
  }
  [[nodiscard]] std::vector<std::chrono::milliseconds> Waits() const {
    const std::lock_guard lock{mutex_};
    return waits_;
  }

 private:
  std::atomic<std::int64_t> now_;
  mutable std::mutex mutex_;
  std::vector<std::chrono::milliseconds> waits_;
};

// A moment on the New York wall clock.
inline PacingTime New_York(Day date, int hour, int minute = 0) {
  return PacingTime{Find_Zone("America/New_York").value().Moment({date, At(hour, minute)})};
}

// A market that always tells the same of one day and never the same of two symbols: the prices of a symbol
// lie between its number times 100 and 50 more.
inline std::vector<Bar> Market_Bars(int number, DayRange days, int minutes_long) {
  std::vector<Bar> bars;
  for (Day date = days.First; date <= days.Last; date += std::chrono::days{1}) {
    if (!Is_Session(date)) continue;
    std::mt19937 random{static_cast<unsigned>(number * 100003 + date.time_since_epoch().count())};
    const auto cents = [&random](int most) {
      return static_cast<int>(random() % static_cast<unsigned>(most));
    };
    const auto step = std::chrono::minutes{minutes_long};
    for (auto start = session_open; start < Session_Close(date); start += step) {
      const int low = number * 10000 + cents(3000);
      const int high = low + 2 + cents(1000);
      bars.push_back({date, start, (low + cents(high - low)) / 100.0, high / 100.0, low / 100.0,
                      (low + cents(high - low)) / 100.0, 100 + cents(100000)});
      if (minutes_long == daily_interval) break;
    }
  }
  return bars;
}

inline Day Read_Date(std::string_view text) {
  return Date(std::stoi(std::string{text.substr(0, 4)}),
              static_cast<unsigned>(std::stoi(std::string{text.substr(5, 2)})),
              static_cast<unsigned>(std::stoi(std::string{text.substr(8, 2)})));
}

inline std::string Behind(const std::string& text, std::string_view mark, std::string_view ends) {
  const auto at = text.find(mark);
  if (at == std::string::npos) return {};
  const auto begin = at + mark.size();
  return text.substr(begin, text.find_first_of(ends, begin) - begin);
}

// Answers requests in the form of Tiingo with the bars of a market, in which "S7" has the number 7.
class TiingoReplay {
 public:
  explicit TiingoReplay(const TestClock& clock) : clock_(clock), profile_(Shipped("tiingo")) {}

  [[nodiscard]] HttpReply Answer(const std::string& address) {
    const bool is_daily = address.find("/tiingo/daily/") != std::string::npos;
    const bool is_minute = address.find("resampleFreq=1min") != std::string::npos;
    const std::string symbol = Behind(address, is_daily ? "/daily/" : "/iex/", "/");
    const DayRange days{Read_Date(Behind(address, "startDate=", "&")),
                        Read_Date(Behind(address, "endDate=", "&"))};
    const std::size_t feed = is_daily ? 0 : is_minute ? 2 : 1;
    const int minutes_long = profile_.Feeds.at(feed).Minutes;
    const std::lock_guard lock{mutex_};
    asked_[symbol].push_back(days);
    if (symbol.front() != 'S')
      return {404, {}, R"({"detail":"Error: Ticker ')" + symbol + R"(' not found"})"};
    std::vector<Bar> bars = Market_Bars(std::stoi(symbol.substr(1)), days, minutes_long);
    const ExchangeTime now =
        profile_.Market_Zone.Local(std::chrono::floor<std::chrono::seconds>(clock_.Now()));
    std::erase_if(bars, [&](const Bar& bar) {
      return bar.Date > now.Date || (bar.Date == now.Date && bar.Start > now.Time);
    });
    for (Bar& bar : bars) {
      const auto changed = Changed.find(bar.Date);
      if (changed != Changed.end()) bar.Volume = changed->second;
      if (bar.Date < Split_Before) {
        for (double* price : {&bar.Open, &bar.High, &bar.Low, &bar.Close}) *price /= 2;
      }
    }
    return {200, {}, AnswerWriter{profile_, feed, symbol}.Body(Sent(bars))};
  }

  // The days asked for of a symbol, in their order.
  [[nodiscard]] std::vector<DayRange> Asked(const std::string& symbol) const {
    const std::lock_guard lock{mutex_};
    const auto found = asked_.find(symbol);
    return found == asked_.end() ? std::vector<DayRange>{} : found->second;
  }

  // Volumes that are told otherwise, by their days, and a day before which all prices are halved.
  std::map<Day, std::int64_t> Changed;
  Day Split_Before = Date(1900, 1, 1);

 private:
  const TestClock& clock_;
  const SourceProfile profile_;
  mutable std::mutex mutex_;
  std::map<std::string, std::vector<DayRange>> asked_;
};

inline std::shared_ptr<const SourceProfile> Shared_Profile(const std::string& name) {
  return std::make_shared<const SourceProfile>(Shipped(name));
}

inline LiveService Planted_Service(const std::string& name) {
  auto profile = Shared_Profile(name);
  KeyTexts keys = Planted_Keys(*profile);
  return {std::move(profile), std::move(keys)};
}

}  // namespace hq::server
