// Whether what a command to the hub gave may be believed.
#pragma once

#include <string>

#include "phone/session.h"

namespace factory {

// A lost reply reads as zeros, and zero is a good result and a good value: what the hub gave counts only when it
// answers before and after, and each message between. On a phone the messages between cannot be listened to.
class HubWatch {
 public:
  // Asks the hub for the first time.
  explicit HubWatch(Session& session);

  // Whether the hub answered the first time: where it did not, no more is to be asked of it.
  bool answered() const { return first_.empty(); }

  // Asks again. Empty, or why nothing that came since the construction counts.
  std::string problem();

  // The same from `lost` messages without an answer on, for what was done without one of these.
  static std::string problem(Session& session, int lost);

  // Throws AppError(kUnreachable) where there is a problem, with what is not known then.
  void require(const std::string& unknown);

 private:
  Session& session_;
  const Watchdog::Operation operation_;
  int lost_;           // messages without an answer, at the beginning
  std::string first_;  // what was wrong then
};

}  // namespace factory
