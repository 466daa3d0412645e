#include "check/limits.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

namespace factory {
namespace {

constexpr double kNsPerMs = 1e6;
constexpr double kMsPerS = 1e3;

constexpr double kAccelerometerNoise = 0.05;
constexpr double kGyroscopeVariance = 1e-7;
constexpr double kRelativePressure = 0.12;

// Groups of sensors beside those of Published; the rows combine them.
enum Applies : unsigned {
  kContinuous = 1U << 8,
  kOnChange = 1U << 9,
  kScatters = 1U << 10,
};

constexpr char kAllSections[] = "7.3 Sensors";
constexpr char kAccelerometerSection[] = "7.3.1 Accelerometer";
constexpr char kGyroscopeSection[] = "7.3.4 Gyroscope";
constexpr char kBarometerSection[] = "7.3.5 Barometer";
// Without these the others would pass a dead sensor.
constexpr char kOwn[] = "not published";

// What is measured: a value for each axis, or one for the sensor; none where it cannot be known.
using Values = std::vector<double>;

struct Limit {
  const char* name;
  const char* section;
  const char* unit;
  std::optional<double> low;
  std::optional<double> high;
  double sample_times;  // of the sensor's period, to be added to `high`
  bool strict;          // the limit itself does not pass
  unsigned applies;     // to which groups of sensors: those of Published, and by how they report
  Values (*measure)(const Observation& seen);
  const char* hint;               // what to try when it is missed
  const char* unknown = nullptr;  // why samples may tell nothing of it
};

double mean_interval_ms(const Observation& seen) {
  const auto intervals = static_cast<double>(seen.main.samples.size() - 1);
  const double mean = seconds_of(seen.main.samples) * kMsPerS / intervals;
  return mean > 0 ? mean : std::numeric_limits<double>::quiet_NaN();
}

// The first sample is left out: it may be inaccurate.
template <typename Figure>
Values per_axis(const Observation& seen, Figure figure) {
  const std::vector<Sample>& samples = seen.main.samples;
  Values out;
  if (samples.size() < 2) return out;
  const std::vector<Statistics> all = statistics_of(samples.begin() + 1, samples.end(), seen.sensor);
  for (size_t axis = 0; axis < all.size(); ++axis) out.push_back(figure(all[axis], axis));
  return out;
}

Values first_sample(const Observation& seen) { return {seen.first_sample_ms}; }

Values duration(const Observation& seen) { return {seconds_of(seen.main.samples)}; }

Values rate(const Observation& seen) {
  if (seen.main.samples.size() < 2 || !seen.period_asked) return {};
  return {100 * seen.period_ms / mean_interval_ms(seen)};
}

Values gaps(const Observation& seen) {
  constexpr double kGapPeriods = 1.8;
  const std::vector<double> intervals = intervals_ms(seen.main.samples);
  if (intervals.empty()) return {};
  const auto wide = std::count_if(intervals.begin(), intervals.end(),
                                  [&seen](double interval) { return !(interval <= kGapPeriods * seen.period_ms); });
  return {100 * static_cast<double>(wide) / static_cast<double>(seen.main.samples.size())};
}

Values jitter(const Observation& seen) {
  Statistics all;
  for (const double interval : intervals_ms(seen.main.samples)) all.add(interval);
  if (all.count() == 0) return {};
  return {100 * all.standard_deviation() / mean_interval_ms(seen)};
}

// The clocks of time stamps and arrivals have no common zero: the quickest event is taken to have come at once. As with
// the gaps, one event in a hundred is forgiven, since the process that looks may itself be held up.
Values delay(const Observation& seen) {
  if (!seen.real_time) return {};
  std::vector<double> lags_ms;
  const Sample& first = seen.main.samples.front();
  for (const Sample& sample : seen.main.samples) {
    const std::chrono::duration<double, std::milli> arrived = sample.arrival - first.arrival;
    lags_ms.push_back(arrived.count() - static_cast<double>(sample.timestamp_ns - first.timestamp_ns) / kNsPerMs);
  }
  std::sort(lags_ms.begin(), lags_ms.end());
  return {lags_ms[(lags_ms.size() - 1) * 99 / 100] - lags_ms.front()};
}

// How many values fulfil a condition.
template <typename Condition>
Values count_values(const Observation& seen, Condition condition) {
  double count = 0;
  for (const Sample& sample : seen.main.samples) {
    for (int axis = 0; axis < seen.sensor.values; ++axis)
      count += condition(value_of(sample, seen.sensor, static_cast<size_t>(axis)));
  }
  return {count};
}

Values not_finite(const Observation& seen) {
  return count_values(seen, [](double value) { return !std::isfinite(value); });
}

Values out_of_range(const Observation& seen) {
  if (!(seen.max_range > 0)) return {};
  constexpr double kRounding = 1.001;
  return count_values(seen, [&seen](double value) { return std::fabs(value) > kRounding * seen.max_range; });
}

Values changes(const Observation& seen) {
  const std::vector<Sample>& samples = seen.main.samples;
  if (samples.size() < 2) return {};
  double count = 0;
  for (size_t i = 1; i < samples.size(); ++i) count += samples[i].words != samples[i - 1].words;
  return {count};
}

Values noise(const Observation& seen) {
  return per_axis(seen, [](const Statistics& axis, size_t) { return axis.standard_deviation(); });
}

Values variance_per_hz(const Observation& seen) {
  return per_axis(seen, [&seen](const Statistics& axis, size_t) {
    return axis.standard_deviation() * axis.standard_deviation() * mean_interval_ms(seen) / kMsPerS;
  });
}

// A phone of which the rotation is not known is taken to lie still.
Values stationary_error(const Observation& seen) {
  return per_axis(seen, [&seen](const Statistics& statistics, size_t axis) {
    return std::fabs(statistics.mean() - (axis < seen.main.truth.size() ? seen.main.truth[axis] : 0));
  });
}

Values absolute_pressure(const Observation& seen) {
  if (seen.main.truth.empty()) return {};
  return per_axis(seen, [&seen](const Statistics& statistics, size_t) {
    return std::fabs(statistics.mean() - seen.main.truth[0]);
  });
}

// What the barometer is off by, averaged over each second; the last one takes the rest.
void add_errors(const Observation& seen, const Take& take, std::vector<double>* errors) {
  if (take.samples.size() < 2) return;
  constexpr double kSecondsMax = 600;
  const double truth = take.truth.empty() ? 0 : take.truth[0];
  std::vector<Statistics> seconds(static_cast<size_t>(std::clamp(seconds_of(take.samples), 1.0, kSecondsMax)));
  for (size_t i = 1; i < take.samples.size(); ++i) {
    const double at = static_cast<double>(take.samples[i].timestamp_ns - take.samples[0].timestamp_ns) / 1e9;
    const double last = static_cast<double>(seconds.size() - 1);
    seconds[static_cast<size_t>(std::clamp(at, 0.0, last))].add(value_of(take.samples[i], seen.sensor, 0));
  }
  for (const Statistics& second : seconds) {
    if (second.count() > 0) errors->push_back(second.mean() - truth);
  }
}

// An error that all pressures share is none.
Values relative_pressure(const Observation& seen) {
  std::vector<double> errors;
  add_errors(seen, seen.main, &errors);
  add_errors(seen, seen.elsewhere, &errors);
  if (errors.empty()) return {};
  const auto finite = [](double error) { return std::isfinite(error); };
  if (!std::all_of(errors.begin(), errors.end(), finite)) return {std::numeric_limits<double>::quiet_NaN()};
  const auto [low, high] = std::minmax_element(errors.begin(), errors.end());
  return {*high - *low};
}

// The groups that a sensor belongs to.
unsigned groups_of(int sensor_type, bool continuous) {
  const Sensor* sensor = sensor_of(sensor_type);
  return (continuous ? kContinuous : kOnChange) | (sensor == nullptr ? 0U : sensor->limits) |
         (sensor != nullptr && sensor->scatters ? kScatters : 0U);
}

constexpr unsigned kAny = kContinuous | kOnChange;
constexpr std::nullopt_t kNone = std::nullopt;

constexpr Limit kLimits[] = {
    {"first sample", kAllSections, "ms", kNone, 400, 2, false, kAny, first_sample,
     "the sensor is slow to start: look at its connection and its driver"},
    {"duration", kAllSections, "s", 3, kNone, 0, false, kContinuous, duration,
     "the sensor fell silent, or the recording is too short"},
    {"rate", kAllSections, "% of the request", 90, 220, 0, false, kContinuous, rate,
     "the driver keeps another rate than asked for, loses events, or sends each more than once",
     "the recording keeps its own rate; give --period to hold it against one"},
    {"gaps", kAllSections, "% of events", kNone, 1, 0, false, kContinuous, gaps,
     "events are lost: the bus or the hub is too busy, or the sensor answers late"},
    {"jitter", kAllSections, "% of the period", kNone, 3, 0, true, kContinuous, jitter,
     "time stamps are made when the event is read, or events come twice: look at the driver's clock"},
    {"delay", kAllSections, "ms", kNone, 100, 2, false, kContinuous, delay,
     "events are held back and come in bursts, though no batching was asked for", "only at --speed 1"},
    {"noise", kAccelerometerSection, "m/s^2", kNone, kAccelerometerNoise, 0, false, Published::accelerometer, noise,
     "the phone moves or the table shakes: set it down still; else the sensor is noisy"},
    {"variance per Hz", kGyroscopeSection, "(rad/s)^2/Hz", kNone, kGyroscopeVariance, 0, false, Published::gyroscope,
     variance_per_hz, "the phone moves or the table shakes: set it down still; else the sensor is noisy"},
    {"error at rest", kGyroscopeSection, "rad/s", kNone, 0.01, 0, true, Published::calibrated_gyroscope,
     stationary_error, "calibrate it: sensorcal calibrate Gyr, or Gyr2"},
    {"absolute accuracy", kBarometerSection, "hPa", kNone, 1, 0, false, Published::barometer, absolute_pressure,
     "calibrate it: sensorcal calibrate Bar --reference HPA", "the true pressure is not known; give --reference HPA"},
    {"relative accuracy", kBarometerSection, "hPa", kNone, kRelativePressure, 0, false, Published::barometer,
     relative_pressure, "a door or a fan moved the air, or the sensor drifts"},
    {"changes between samples", kOwn, "", 1, kNone, 0, false, kScatters, changes,
     "the sensor repeats one value: it is stuck, or its driver does not update it"},
    {"values that are no numbers", kOwn, "", kNone, 0, 0, false, kAny, not_finite,
     "the driver delivers not-a-number or infinity"},
    {"values beyond the sensor's own range", kOwn, "", kNone, 0, 0, false, kAny, out_of_range,
     "the sensor is broken, or its driver scales its values wrongly", "the sensor lists no range"},
};

}  // namespace

std::vector<double> intervals_ms(const std::vector<Sample>& samples) {
  std::vector<double> out;
  for (size_t i = 1; i < samples.size(); ++i) {
    out.push_back(static_cast<double>(samples[i].timestamp_ns - samples[i - 1].timestamp_ns) / kNsPerMs);
  }
  return out;
}

double value_of(const Sample& sample, const Sensor& sensor, size_t axis) {
  return static_cast<double>(sample.words[static_cast<size_t>(sensor.first_word) + axis]);
}

void judge_sensor(const Observation& seen, record::Attempt* attempt) {
  const unsigned groups = groups_of(seen.sensor.type, seen.continuous);
  for (const Limit& limit : kLimits) {
    if ((limit.applies & groups) == 0) continue;
    const Values values = limit.measure(seen);
    if (values.empty() && limit.unknown != nullptr && seen.main.samples.size() > 1)
      attempt->notes.push_back(std::string(limit.name) + ": not judged: " + limit.unknown);
    for (size_t axis = 0; axis < values.size(); ++axis) {
      record::Measurement m{limit.name, values.size() > 1 ? seen.sensor.axes[axis] : "", values[axis], limit.unit};
      m.low = limit.low;
      if (limit.high) m.high = *limit.high + limit.sample_times * seen.period_ms;
      m.strict = limit.strict;
      m.section = limit.section;
      attempt->measure(std::move(m), 0, limit.hint);
    }
  }
}

double noise_limit(int sensor_type, double rate_hz) {
  const unsigned groups = groups_of(sensor_type, true);
  if ((groups & Published::accelerometer) != 0) return kAccelerometerNoise;
  if ((groups & Published::gyroscope) != 0) return std::sqrt(kGyroscopeVariance * rate_hz);
  return (groups & Published::barometer) != 0 ? kRelativePressure : std::numeric_limits<double>::infinity();
}

}  // namespace factory
