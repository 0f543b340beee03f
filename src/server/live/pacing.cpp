#include "server/live/pacing.h"

#include <algorithm>

namespace hq::server {
namespace {

using namespace std::chrono;

// Drops the tokens that are back in every bucket, and those of a clock that has been set back since.
void Forget_Old(PacingState& state, const std::vector<RateLimit>& limits, PacingTime now) {
  std::erase_if(state.Taken, [&](const auto& taken) {
    const auto is_out = [&](const RateLimit& limit) { return limit.Back(taken.first) > now; };
    return taken.first > now + minutes{1} || std::ranges::none_of(limits, is_out);
  });
}

milliseconds Wait_For(const RateLimit& limit, const PacingState& state, int tokens, PacingTime now) {
  // More than the bucket holds can only be had when it is full.
  const int wanted = std::min(tokens, limit.Tokens);
  std::int64_t used = 0;
  for (const auto& [at, count] : state.Taken) used += limit.Back(at) > now ? count : 0;
  milliseconds wait{};
  for (const auto& [at, count] : state.Taken) {
    if (used + wanted <= limit.Tokens) break;
    const PacingTime back = limit.Back(at);
    if (back <= now) continue;
    used -= count;
    wait = back - now;
  }
  return wait;
}

std::string Limit_Text(const RateLimit& limit) {
  std::string text = "it allows " + std::to_string(limit.Tokens);
  text += limit.Tokens == 1 ? " request" : " requests";
  if (limit.Back_At) return text + " a day";
  const auto in = limit.Period;
  if (in == hours{1}) return text + " an hour";
  if (in == minutes{1}) return text + " a minute";
  if (in % seconds{1} == milliseconds{0}) return text + " in " + std::to_string(in / seconds{1}) + " seconds";
  return text + " in " + std::to_string(in.count()) + " milliseconds";
}

PacingAnswer Wait_For_All(const PacingState& state, const std::vector<RateLimit>& limits, int tokens,
                          PacingTime now) {
  if (state.Closed_Until > now) return {state.Closed_Until - now, state.Closed_Reason};
  PacingState current = state;
  Forget_Old(current, limits, now);
  PacingAnswer answer;
  for (const RateLimit& limit : limits) {
    const milliseconds wait = Wait_For(limit, current, tokens, now);
    if (wait > answer.Wait) answer = {wait, Limit_Text(limit)};
  }
  return answer;
}

}  // namespace

Pacing::Pacing(PacingStore& store, PacingClock clock) : store_(store), clock_(std::move(clock)) {}

PacingAnswer Pacing::Take(const std::string& service, const std::vector<RateLimit>& limits, int tokens) {
  PacingAnswer answer;
  store_.Change_Pacing(service, [&](PacingState& state) {
    const PacingTime now = clock_();
    answer = Wait_For_All(state, limits, tokens, now);
    if (answer.Wait.count() > 0) return;
    Forget_Old(state, limits, now);
    if (!limits.empty()) state.Taken.emplace_back(now, tokens);
  });
  return answer;
}

PacingAnswer Pacing::Look(const std::string& service, const std::vector<RateLimit>& limits) {
  PacingAnswer answer;
  store_.Change_Pacing(service,
                       [&](const PacingState& state) { answer = Wait_For_All(state, limits, 1, clock_()); });
  return answer;
}

void Pacing::Close(const std::string& service, PacingTime until, const std::string& reason) {
  store_.Change_Pacing(service, [&](PacingState& state) {
    if (until <= state.Closed_Until) return;
    state.Closed_Until = until;
    state.Closed_Reason = reason;
  });
}

void Pacing::Close_Growing(const std::string& service, seconds first, seconds longest,
                           const std::string& reason) {
  store_.Change_Pacing(service, [&](PacingState& state) {
    const PacingTime now = clock_();
    // Requests that were on their way together are told the same thing once.
    if (state.Closed_Until > now) return;
    seconds length = first;
    for (int i = 0; i < state.Closings && length < longest; ++i) length *= 2;
    ++state.Closings;
    state.Closed_Until = now + std::min(length, longest);
    state.Closed_Reason = reason;
  });
}

void Pacing::Answered(const std::string& service) {
  store_.Change_Pacing(service, [&](PacingState& state) {
    if (state.Closed_Until > clock_()) return;
    state.Closed_Until = {};
    state.Closed_Reason.clear();
    state.Closings = 0;
  });
}

std::optional<std::pair<PacingTime, std::string>> Pacing::Closed(const std::string& service) {
  std::optional<std::pair<PacingTime, std::string>> closed;
  store_.Change_Pacing(service, [&](const PacingState& state) {
    if (state.Closed_Until > clock_()) closed.emplace(state.Closed_Until, state.Closed_Reason);
  });
  return closed;
}

}  // namespace hq::server
