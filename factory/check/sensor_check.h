// Checks one sensor of the phone against the published limits.
#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "phone/session.h"
#include "record/record.h"

namespace factory {

struct CheckRequest {
  int type = 0;
  double seconds = 3;
  std::optional<double> period_ms;  // the sensor's fastest where none is given
  std::optional<double> reference_hpa;
};

// Blocks while samples come, and a few seconds at most when they do not. `progress` is told how many seconds of samples
// there are.
record::Attempt check_sensor(Session& session, const CheckRequest& request,
                             const std::function<void(double)>& progress);

// Types that are checked where none is named: those of which a limit of their own or a steady rate is published.
std::vector<int> checked_types(Session& session);

}  // namespace factory
