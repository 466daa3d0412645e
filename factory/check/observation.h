// What a check saw of one sensor.
#pragma once

#include <limits>
#include <span>
#include <vector>

#include "check/sample.h"
#include "sensors/sensor.h"

namespace factory {

// Samples taken while the truth stayed as it was. `truth` has a value per axis, or none where it is not known.
struct Take {
  std::vector<Sample> samples;
  std::vector<double> truth;
};

struct Observation {
  int type = 0;
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
double median(std::vector<double> values);

}  // namespace factory
