// The limits that Android publishes for a phone's sensors, one row each, and what a sensor measures against them.
#pragma once

#include <limits>
#include <string>
#include <vector>

#include "check/observation.h"

namespace factory {

struct Measured {
  std::vector<double> values;  // one for each axis, or one for the sensor
  std::string unknown;         // why there is none
};

struct Limit {
  static constexpr double kNone = std::numeric_limits<double>::infinity();

  const char* key;   // in JSON
  const char* name;  // for people
  const char* section;
  const char* unit;
  double least;         // what is less does not pass; -kNone: anything goes
  double most;          // what is more does not pass; kNone: anything goes
  double sample_times;  // of the sensor's period, to be added to `most`
  bool strict;          // the limit itself does not pass
  unsigned applies;     // to which groups of sensors: those of Published, and by how they report
  Measured (*measure)(const Observation& seen);
  const char* hint;  // what to try when it is missed
};

const std::vector<Limit>& limits();

enum class Status { passed, failed, not_checked };

// One limit, held against one sensor.
struct Finding {
  const Limit* limit = nullptr;
  double most = 0;  // with the sample times
  Measured measured;
  size_t worst = 0;  // of the values
  Status status = Status::not_checked;
};

// All limits that apply to the sensor. Not-a-number never passes.
std::vector<Finding> judge_sensor(const Observation& seen);

// The largest standard deviation of a sensor at rest, in its unit; kNone where none is published.
double noise_limit(int sensor_type, double rate_hz);

}  // namespace factory
