#pragma once

#include <map>
#include <mutex>
#include <string>

#include "server/archive/pacing_store.h"

namespace hq::server {

// What is known of services until the program ends: which are down, which have refused the key. All methods
// may be called from several threads at once.
class ServiceHealth {
 public:
  struct State {
    // Before this moment the service is left alone, and why.
    PacingTime Down_Until{};
    std::string Down_Reason;
    // Why the service refused the key; empty when it did not.
    std::string Key_Reason;
    // How many answers in a row were not as the profile says.
    int Changed_Answers = 0;
  };

  [[nodiscard]] State Of(const std::string& service) const;

  void Close(const std::string& service, PacingTime until, const std::string& reason);
  void Refuse_Key(const std::string& service, const std::string& reason);
  // Counts an answer that is not as the profile says, and gives how many there were in a row.
  int Count_Changed_Answer(const std::string& service);
  // Begins that count anew.
  void Reset_Changed_Answers(const std::string& service);
  // Forgets all that was thought of the service.
  void Reset(const std::string& service);

 private:
  mutable std::mutex mutex_;
  std::map<std::string, State> states_;
};

}  // namespace hq::server
