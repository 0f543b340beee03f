#pragma once

#include <chrono>
#include <gmock/gmock.h>
#include <random>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "market/trading_calendar.h"
#include "server/services/answer_writer.h"
#include "server/services/feed_choice.h"
#include "server/services/upstream_answer.h"

namespace hq::server {

// Saturday, 21 November 2026.
inline const std::chrono::sys_seconds weekend = Date(2026, 11, 21) + std::chrono::hours{12};

// A feed of a shipped profile with a request made for it.
class Asked {
 public:
  Asked(const std::string& name, std::size_t feed, std::chrono::sys_seconds now = weekend,
        std::string symbol = "IBM")
      : profile_(Shipped(name)), now_(now) {
    request_.Feed = feed;
    const SourceFeed& chosen = profile_.Feeds.at(feed);
    request_.Source = name;
    request_.Adjusted = chosen.Adjustments.contains(Adjustment::Splits) ? Adjustment::Splits
                                                                        : chosen.Adjustments.begin()->first;
    request_.Symbol = symbol;
    request_.Spelled_Symbol = Spell_Symbol(profile_, symbol).value();
    request_.Url = "https://" + profile_.Hosts.front() + "/?key=" + std::string{planted_key};
    request_.Hosts = profile_.Hosts;
    request_.Secrets = {std::string{planted_key}};
  }

  [[nodiscard]] std::string Body(const std::vector<SentRow>& rows, const std::string& zone = "") const {
    return AnswerWriter{profile_, request_.Feed, request_.Spelled_Symbol}.Body(rows, zone);
  }

  [[nodiscard]] UpstreamAnswer Answer(const std::string& body, int status = 200,
                                      std::vector<std::pair<std::string, std::string>> headers = {}) const {
    return Read_Answer(profile_, request_, {status, std::move(headers), body}, now_);
  }

  [[nodiscard]] UpstreamBars Read(const std::string& body) const {
    const auto answer = Answer(body);
    if (const auto* trouble = std::get_if<Trouble>(&answer)) {
      ADD_FAILURE() << trouble->Reason;
      return {};
    }
    return std::get<UpstreamBars>(answer);
  }

  [[nodiscard]] std::vector<Bar> Bars(const std::vector<SentRow>& rows) const {
    std::vector<Bar> bars;
    for (const NativeBar& bar : Read(Body(rows)).Bars) bars.push_back(bar.Quote);
    return bars;
  }

  [[nodiscard]] Trouble Refusal(const std::string& body, int status = 200,
                                std::vector<std::pair<std::string, std::string>> headers = {}) const {
    const auto answer = Answer(body, status, std::move(headers));
    if (const auto* trouble = std::get_if<Trouble>(&answer)) {
      EXPECT_THAT(trouble->Reason, testing::Not(testing::HasSubstr("PLANTED")));
      EXPECT_EQ(trouble->Reason.find_first_of("\r\n"), std::string::npos);
      return *trouble;
    }
    ADD_FAILURE() << "the answer was taken";
    return {};
  }

  [[nodiscard]] const SourceFeed& Feed() const { return profile_.Feeds.at(request_.Feed); }
  [[nodiscard]] const SourceProfile& Profile() const { return profile_; }
  [[nodiscard]] bool Is_Daily() const { return Feed().Minutes == daily_interval; }
  UpstreamRequest& Request() { return request_; }

 private:
  SourceProfile profile_;
  UpstreamRequest request_;
  std::chrono::sys_seconds now_;
};

// Bars of whole sessions as a market would make them: reproducible, and never equal to their neighbours.
inline std::vector<Bar> Session_Bars(Day date, int minutes_long, std::mt19937& random) {
  std::vector<Bar> bars;
  if (!Is_Session(date)) return bars;
  const auto cents = [&random](int most) { return static_cast<int>(random() % static_cast<unsigned>(most)); };
  for (std::chrono::seconds start = session_open; start < Session_Close(date);
       start += std::chrono::minutes{minutes_long}) {
    const int low = 10000 + cents(500);
    const int high = low + 2 + cents(100);
    bars.push_back({date, start, (low + cents(high - low)) / 100.0, high / 100.0, low / 100.0,
                    (low + cents(high - low)) / 100.0, 100 + cents(100000)});
  }
  return bars;
}

inline std::vector<Bar> Sessions(Day first, Day last, int minutes_long) {
  std::mt19937 random{4711};
  std::vector<Bar> bars;
  for (Day date = first; date <= last; date += std::chrono::days{1}) {
    auto session = Session_Bars(date, minutes_long, random);
    if (minutes_long == daily_interval) session.resize(std::min<std::size_t>(session.size(), 1));
    bars.insert(bars.end(), session.begin(), session.end());
  }
  return bars;
}

}  // namespace hq::server
