#include "server/live/service_failure.h"

#include <chrono>

#include "market/source_status.h"

namespace hq::server {

bool ServiceFailure::Is(TroubleKind kind) const {
  const auto* trouble = std::get_if<TroubleKind>(&Why);
  return trouble != nullptr && *trouble == kind;
}

bool ServiceFailure::Is(FetchHop hop) const {
  const auto* failed = std::get_if<FetchHop>(&Why);
  return failed != nullptr && *failed == hop;
}

std::string Failed_Hop(const ServiceFailure& failure) {
  if (const auto* hop = std::get_if<FetchHop>(&failure.Why)) return std::string{Hop_Name(*hop)};
  switch (std::get<TroubleKind>(failure.Why)) {
    case TroubleKind::UnknownSymbol:
      return "unknown symbol";
    case TroubleKind::NothingThere:
      return "nothing there";
    case TroubleKind::NotServed:
      return "not served";
    case TroubleKind::KeyRefused:
      return "refused key";
    case TroubleKind::NotAllowed:
      return "plan";
    case TroubleKind::Quota:
    case TroubleKind::Throttled:
      return "quota";
    case TroubleKind::ServerDown:
      return "service down";
    case TroubleKind::BadRequest:
      return "refused request";
    case TroubleKind::FormatChanged:
      break;
  }
  return "changed format";
}

std::string Next_Step(const ServiceFailure& failure, const SourceProfile& profile) {
  const std::string site = profile.Site.empty() ? "" : " (" + profile.Site + ")";
  const std::string file = "sources/" + profile.Name + ".json";
  if (const auto* hop = std::get_if<FetchHop>(&failure.Why)) {
    switch (*hop) {
      case FetchHop::Address:
        return "Look at the address in " + file + ".";
      case FetchHop::NameLookUp:
        return "Look whether this computer is on the network, and whether a browser finds the service" +
               site + ".";
      case FetchHop::Connection:
        return "Look whether a firewall stops this program, or try again in a few minutes.";
      case FetchHop::Proxy:
        return "Look at the proxy that is set in the environment (HTTPS_PROXY, HTTP_PROXY), or take it away.";
      case FetchHop::Certificate:
        return "Somebody between this computer and the service may read along, or this computer's date or "
               "list "
               "of certificates is wrong. The key was not sent.";
      case FetchHop::TimeOut:
      case FetchHop::BrokenOff:
        return "Try again in a few minutes; the service or the network is slow.";
      case FetchHop::TooLarge:
        return "Look whether the service has changed: it sends more than is asked for.";
      case FetchHop::Redirect:
        return "The service has moved, or something on the way asks to log in. The key was not sent there.";
      case FetchHop::GivenUp:
        break;
    }
    return "Try again.";
  }
  switch (std::get<TroubleKind>(failure.Why)) {
    case TroubleKind::UnknownSymbol:
    case TroubleKind::NothingThere:
      return "Try a symbol that is traded a lot, such as MSFT, and look at the symbol's spelling.";
    case TroubleKind::NotServed:
      return "Ask another source for this kind of symbol.";
    case TroubleKind::KeyRefused:
      return "Copy the key from the service's page" + site + " again; it may have been changed there.";
    case TroubleKind::NotAllowed:
      return "Look at what the plan of the key includes" + site + ", or ask another source.";
    case TroubleKind::Quota:
    case TroubleKind::Throttled:
      return failure.Until
                 ? "Wait until " + New_York_Text(std::chrono::ceil<std::chrono::seconds>(*failure.Until)) +
                       " (New York), or put another source behind this one."
                 : "Wait a while, or put another source behind this one.";
    case TroubleKind::ServerDown:
      return failure.Until
                 ? "Wait until " + New_York_Text(std::chrono::ceil<std::chrono::seconds>(*failure.Until)) +
                       " (New York)."
                 : "Try again in a few minutes.";
    case TroubleKind::BadRequest:
    case TroubleKind::FormatChanged:
      break;
  }
  return "The service has changed, or something on the way answers for it: look for a newer " + file + ".";
}

}  // namespace hq::server
