// Checks one sensor of the phone against the published limits.
#pragma once

#include <json/json.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "check/limits.h"
#include "phone/session.h"

namespace factory {

struct CheckRequest {
  int type = 0;
  double seconds = 3;
  std::optional<double> period_ms;  // the sensor's fastest where none is given
  std::optional<double> reference_hpa;
};

struct SensorCheck {
  std::string name;
  double requested_ms = 0;
  std::string problem;  // why the sensor could not be looked at
  std::vector<std::string> notes;
  Observation seen;
  std::vector<Finding> findings;
  bool interrupted = false;

  bool passed() const;
};

// Blocks while samples come, and a few seconds at most when they do not. `progress` is told how many seconds of samples
// there are.
SensorCheck check_sensor(Session& session, const CheckRequest& request, const std::function<void(double)>& progress);

// Types that are checked where none is named: those of which a limit of their own or a steady rate is published.
std::vector<int> checked_types(Session& session);

Json::Value to_json(const SensorCheck& check);
// Rows of the table, and what is to be said below it.
std::vector<std::vector<std::string>> table_rows(const SensorCheck& check);
std::vector<std::string> failures(const SensorCheck& check);

}  // namespace factory
