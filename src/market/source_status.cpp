#include "market/source_status.h"

#include <array>
#include <cstdio>

#include "market/exchange_clock.h"

namespace hq::server {

std::string New_York_Text(std::chrono::sys_seconds moment) {
  const ExchangeTime local = New_York_Time(moment);
  const std::chrono::year_month_day date{local.Date};
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%d-%02u-%02u %02d:%02d", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(local.Time.count() / 3600), static_cast<int>(local.Time.count() / 60 % 60));
  return text.data();
}

std::string State_Text(const SourceStatus& status) {
  const auto until = [&](std::string text) {
    return status.Until ? std::move(text) + " until " + New_York_Text(*status.Until) : text;
  };
  switch (status.State) {
    case SourceState::Ready:
      return "ready";
    case SourceState::NeedsKey:
      return "needs a key";
    case SourceState::KeyRefused:
      return "key refused";
    case SourceState::OutOfQuota:
      return until("out of quota");
    case SourceState::Down:
      return until("down");
    case SourceState::Off:
      break;
  }
  return "off";
}

std::string Without_Stop(std::string text) {
  if (text.ends_with('.')) text.pop_back();
  return text;
}

}  // namespace hq::server
