#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <gtest/gtest.h>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "built_places.h"
#include "market/market_support.h"
#include "server/services/profile_reader.h"
#include "server/services/upstream_answer.h"
#include "server/services/upstream_request.h"

// Writes answers in the shapes of the services, so that every profile can be tested with any rows.
namespace hq::server {

// A row as a service would send it. The values are texts, so that they may be wrong.
struct SentRow {
  // The beginning of the bar at the exchange.
  ExchangeTime Start;
  std::string Open;
  std::string High;
  std::string Low;
  std::string Close;
  std::string Volume;
};

inline std::string Plain_Number(double number) {
  std::string text = std::to_string(number);
  text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') text.pop_back();
  return text;
}

inline SentRow Sent(const Bar& bar) {
  return {{bar.Date, bar.Start}, Plain_Number(bar.Open),  Plain_Number(bar.High),
          Plain_Number(bar.Low), Plain_Number(bar.Close), std::to_string(bar.Volume)};
}

inline std::vector<SentRow> Sent(std::span<const Bar> bars) {
  std::vector<SentRow> rows;
  for (const Bar& bar : bars) rows.push_back(Sent(bar));
  return rows;
}

inline std::string Iso_Date(Day date) {
  const std::chrono::year_month_day ymd{date};
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02u", static_cast<int>(ymd.year()),
                static_cast<unsigned>(ymd.month()), static_cast<unsigned>(ymd.day()));
  return text.data();
}

inline std::string Iso_Time(std::chrono::seconds time) {
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "%02d:%02d:%02d", static_cast<int>(time.count() / 3600),
                static_cast<int>(time.count() / 60 % 60), static_cast<int>(time.count() % 60));
  return text.data();
}

// The folder of the profiles that the program ships.
inline std::filesystem::path Sources_Folder() {
  return HQ_SOURCES;
}

inline SourceProfile Shipped(const std::string& name) {
  auto read = Load_Profile(Sources_Folder() / (name + ".json"));
  if (const auto* error = std::get_if<ProfileError>(&read)) {
    ADD_FAILURE() << error->Text();
    return {};
  }
  return std::get<SourceProfile>(std::move(read));
}

// A key that no answer, reason or address may show.
inline constexpr std::string_view planted_key = "PLANTED+KEY/4711";

inline KeyTexts Planted_Keys(const SourceProfile& profile) {
  KeyTexts keys;
  for (const SourceKey& key : profile.Keys) keys[key.Name] = planted_key;
  return keys;
}

inline std::string In_Quotes(std::string_view text) {
  return "\"" + std::string{text} + "\"";
}

// A member whose value is the text as it stands.
inline std::string Member(std::string_view name, std::string_view value) {
  return In_Quotes(name) + ":" + std::string{value};
}

inline std::string Joined(const std::vector<std::string>& parts, std::string_view separator = ",") {
  std::string joined;
  for (const auto& part : parts) {
    if (&part != parts.data()) joined += separator;
    joined += part;
  }
  return joined;
}

// Writes answers of one feed of a profile.
class AnswerWriter {
 public:
  AnswerWriter(const SourceProfile& profile, std::size_t feed, std::string symbol)
      : name_(profile.Name),
        feed_(profile.Feeds.at(feed)),
        zone_(profile.Market_Zone),
        symbol_(std::move(symbol)) {}

  // The rows in the order given; `tail` is put behind the last one in its own form when it isn't empty.
  [[nodiscard]] std::string Body(const std::vector<SentRow>& rows, const std::string& zone_name = "") const {
    if (name_ == "yahoo") return Yahoo(rows, zone_name);
    if (name_ == "alphavantage") return Alpha_Vantage(rows);
    std::vector<std::string> parts;
    parts.reserve(rows.size());
    for (const SentRow& row : rows) parts.push_back("{" + Row(row) + "}");
    const std::string list = "[" + Joined(parts) + "]";
    if (name_ == "alpaca")
      return "{" + Member("bars", rows.empty() ? "{}" : "{" + Member(symbol_, list) + "}") +
             R"(,"next_page_token":null})";
    if (name_ == "twelvedata")
      return R"({"meta":{"symbol":")" + symbol_ + R"(","currency":"USD","exchange_timezone":)" +
             In_Quotes(zone_name.empty() ? "America/New_York" : zone_name) + R"(},"values":)" + list +
             R"(,"status":"ok"})";
    if (name_ == "polygon")
      return "{" + Member("ticker", In_Quotes(symbol_)) + R"(,"status":"OK","resultsCount":)" +
             std::to_string(rows.size()) + "," + Member("results", list) + "}";
    if (name_ == "cboe") return "{" + Member("symbol", In_Quotes(symbol_)) + "," + Member("data", list) + "}";
    return list;
  }

 private:
  [[nodiscard]] bool Is_Daily() const { return feed_.Minutes == daily_interval; }

  [[nodiscard]] std::string Stamp(const SentRow& row) const {
    ExchangeTime time = row.Start;
    if (feed_.Layout.End_Labels) {
      const auto end = time.Date + time.Time + std::chrono::minutes{feed_.Minutes};
      time.Date = std::chrono::floor<std::chrono::days>(end);
      time.Time = end - time.Date;
    }
    const auto moment = zone_.Moment(Is_Daily() && name_ != "yahoo" ? ExchangeTime{time.Date, {}} : time);
    const auto universal = Zone{}.Local(moment);
    switch (feed_.Layout.Form) {
      case StampForm::EpochSeconds:
        return std::to_string(moment.time_since_epoch().count());
      case StampForm::EpochMilliseconds:
        return std::to_string(moment.time_since_epoch().count() * 1000);
      case StampForm::Universal:
        return In_Quotes(Iso_Date(universal.Date) + "T" + Iso_Time(universal.Time) + "Z");
      case StampForm::Local:
        return In_Quotes(Iso_Date(time.Date) + (name_ == "cboe" ? "T" : " ") + Iso_Time(time.Time));
      case StampForm::Date:
        return In_Quotes(Iso_Date(time.Date) + (name_ == "tiingo" ? "T00:00:00.000Z" : ""));
    }
    return "";
  }

  // A number as the service sends it: plain, or as text. "null" and what is no number stays as it is.
  [[nodiscard]] std::string Value(const std::string& number) const {
    const bool as_text = name_ == "twelvedata" || (name_ == "cboe" && Is_Daily());
    const bool is_number =
        !number.empty() && number.find_first_not_of("0123456789.-+eE") == std::string::npos;
    return as_text && is_number ? In_Quotes(number) : number;
  }

  [[nodiscard]] std::string Row(const SentRow& row) const {
    const bool is_short = name_ == "polygon" || name_ == "alpaca";
    const auto name = [&](std::string_view word) { return is_short ? word.substr(0, 1) : word; };
    std::string stamp_name = is_short ? "t" : name_ == "eodhd" ? "timestamp" : "date";
    if (name_ == "eodhd" && Is_Daily()) stamp_name = "date";
    if (name_ == "twelvedata" || (name_ == "cboe" && !Is_Daily())) stamp_name = "datetime";
    const std::string prices =
        Joined({Member(name("open"), Value(row.Open)), Member(name("high"), Value(row.High)),
                Member(name("low"), Value(row.Low)), Member(name("close"), Value(row.Close))});
    std::string text = Member(stamp_name, Stamp(row)) + ",";
    if (name_ == "cboe" && !Is_Daily())
      return text + R"("price":{)" + prices + R"(},"volume":{"stock_volume":)" + row.Volume + "}";
    text += prices + "," + Member(name("volume"), Value(row.Volume));
    if (name_ == "tiingo" && Is_Daily())
      text += "," + Member("adjClose", row.Close) + R"(,"splitFactor":1.0)";
    if (name_ == "eodhd" && Is_Daily()) text += "," + Member("adjusted_close", row.Close);
    return text;
  }

  [[nodiscard]] std::string Yahoo(const std::vector<SentRow>& rows, const std::string& zone_name) const {
    const std::string meta = R"({"currency":"USD","symbol":")" + symbol_ +
                             R"(","gmtoffset":-14400,"exchangeTimezoneName":)" +
                             In_Quotes(zone_name.empty() ? "America/New_York" : zone_name) + "}";
    std::string series = R"("indicators":{"quote":[{}]})";
    if (!rows.empty()) {
      const auto column = [&rows](std::string SentRow::*field) {
        std::vector<std::string> values;
        for (const SentRow& row : rows) values.push_back(row.*field);
        return "[" + Joined(values) + "]";
      };
      std::vector<std::string> stamps;
      for (const SentRow& row : rows) stamps.push_back(Stamp(row));
      series = R"("timestamp":[)" + Joined(stamps) + R"(],"indicators":{"quote":[{)" +
               Joined({Member("open", column(&SentRow::Open)), Member("high", column(&SentRow::High)),
                       Member("low", column(&SentRow::Low)), Member("close", column(&SentRow::Close)),
                       Member("volume", column(&SentRow::Volume))}) +
               "}]" + (Is_Daily() ? R"(,"adjclose":[{"adjclose":)" + column(&SentRow::Close) + "}]" : "") +
               "}";
    }
    return R"({"chart":{"result":[{"meta":)" + meta + "," + series + R"(}],"error":null}})";
  }

  [[nodiscard]] std::string Alpha_Vantage(const std::vector<SentRow>& rows) const {
    const bool has_adjusted = !feed_.Layout.Adjusted_Close.empty();
    std::string text = "timestamp,open,high,low,close,";
    text += has_adjusted ? "adjusted_close,volume,dividend_amount,split_coefficient\r\n" : "volume\r\n";
    for (const SentRow& row : rows) {
      std::string stamp = Stamp(row);
      std::erase(stamp, '"');
      text += Joined({stamp, row.Open, row.High, row.Low, row.Close}) + ",";
      text += has_adjusted ? row.Close + "," + row.Volume + ",0.0000,1.0" : row.Volume;
      text += "\r\n";
    }
    return text;
  }

  std::string name_;
  const SourceFeed& feed_;
  Zone zone_;
  std::string symbol_;
};

}  // namespace hq::server
