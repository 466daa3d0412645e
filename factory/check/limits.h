// The limits that Android publishes for a phone's sensors, one row each, and what a sensor measures against them.
#pragma once

#include <limits>
#include <span>
#include <string>
#include <vector>

#include "phone/sampler.h"
#include "sensors/sensor.h"

namespace factory {

// Samples taken while the truth stayed as it was. `truth` has a value per axis, or none where it is not known.
struct Take {
  std::vector<Sample> samples;
  std::vector<double> truth;
};

// What a check saw of one sensor.
struct Observation {
  bool continuous = true;  // reports at a rate; others report changes only
  Quantity quantity;
  double max_range = 0;      // as listed; 0: not known
  double period_ms = 0;      // between samples: as asked for, or as usual in a recording with a timing of its own
  bool period_asked = true;  // false: nobody asked the recording for its rate
  bool real_time = true;     // phone time runs as real time does, so arrivals can be compared with time stamps
  double first_sample_ms = std::numeric_limits<double>::quiet_NaN();  // after the enabling; not-a-number: none came
  Take main;
  Take elsewhere;  // a barometer's at another pressure; may be empty
};

// The time from each sample to the next, and how long all of them took.
std::vector<double> intervals_ms(const std::vector<Sample>& samples);
double seconds_of(std::span<const Sample> samples);

double value_of(const Sample& sample, const Quantity& quantity, size_t axis);

// Of each axis of samples in a row.
template <typename Iterator>
std::vector<Statistics> statistics_of(Iterator begin, Iterator end, const Quantity& quantity) {
  std::vector<Statistics> out(quantity.axes.size());
  for (; begin != end; ++begin) {
    for (size_t axis = 0; axis < out.size(); ++axis) out[axis].add(value_of(*begin, quantity, axis));
  }
  return out;
}

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
