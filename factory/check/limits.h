// The limits that Android publishes for a phone's sensors, and what a sensor measures against them.
#pragma once

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

// What a check saw of one sensor, of which events came.
struct Observation {
  bool continuous = true;  // reports at a rate; others report changes only
  Sensor sensor;
  double max_range = 0;        // as listed; 0: not known
  double period_ms = 0;        // between samples: as asked for, or as usual in a recording with a timing of its own
  bool period_asked = true;    // false: nobody asked the recording for its rate
  bool real_time = true;       // phone time runs as real time does, so arrivals can be compared with time stamps
  double first_sample_ms = 0;  // after the enabling
  Take main;
  Take elsewhere;  // a barometer's at another pressure; may be empty
};

// The time from each sample to the next.
std::vector<double> intervals_ms(const std::vector<Sample>& samples);

double value_of(const Sample& sample, const Sensor& sensor, size_t axis);

// Of each axis of samples in a row.
template <typename Iterator>
std::vector<Statistics> statistics_of(Iterator begin, Iterator end, const Sensor& sensor) {
  std::vector<Statistics> out(static_cast<size_t>(sensor.values));
  for (; begin != end; ++begin) {
    for (size_t axis = 0; axis < out.size(); ++axis) out[axis].add(value_of(*begin, sensor, axis));
  }
  return out;
}

// Holds the sensor against all limits that apply to it; what cannot be measured is noted.
void judge_sensor(const Observation& seen, record::Attempt* attempt);

// The largest standard deviation of a sensor at rest, in its unit; infinity where none is published.
double noise_limit(int sensor_type, double rate_hz);

}  // namespace factory
