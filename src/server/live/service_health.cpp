#include "server/live/service_health.h"

namespace hq::server {

ServiceHealth::State ServiceHealth::Of(const std::string& service) const {
  const std::lock_guard lock{mutex_};
  const auto found = states_.find(service);
  return found == states_.end() ? State{} : found->second;
}

void ServiceHealth::Close(const std::string& service, PacingTime until, const std::string& reason) {
  const std::lock_guard lock{mutex_};
  State& state = states_[service];
  state.Down_Until = until;
  state.Down_Reason = reason;
}

void ServiceHealth::Refuse_Key(const std::string& service, const std::string& reason) {
  const std::lock_guard lock{mutex_};
  states_[service].Key_Reason = reason;
}

int ServiceHealth::Count_Changed_Answer(const std::string& service) {
  const std::lock_guard lock{mutex_};
  return ++states_[service].Changed_Answers;
}

void ServiceHealth::Reset_Changed_Answers(const std::string& service) {
  const std::lock_guard lock{mutex_};
  states_[service].Changed_Answers = 0;
}

void ServiceHealth::Reset(const std::string& service) {
  const std::lock_guard lock{mutex_};
  states_.erase(service);
}

}  // namespace hq::server
