#include "check/limits.h"

#include <algorithm>
#include <cmath>

namespace factory {
namespace {

constexpr double kNone = Limit::kNone;
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

constexpr char kNothing[] = "no two events came";

double mean_interval_ms(const Observation& seen) {
  const size_t count = seen.main.samples.size();
  const double mean = seconds_of(seen.main.samples) * kMsPerS / static_cast<double>(count - 1);
  return mean > 0 ? mean : std::numeric_limits<double>::quiet_NaN();
}

// The first sample is left out: it may be inaccurate.
template <typename Figure>
Measured per_axis(const Observation& seen, Figure figure) {
  const std::vector<Sample>& samples = seen.main.samples;
  if (samples.size() < 2) return {{}, kNothing};
  Measured out;
  const std::vector<Statistics> all = statistics_of(samples.begin() + 1, samples.end(), seen.quantity);
  for (size_t axis = 0; axis < all.size(); ++axis) out.values.push_back(figure(all[axis], axis));
  return out;
}

Measured first_sample(const Observation& seen) { return {{seen.first_sample_ms}, ""}; }

Measured duration(const Observation& seen) { return {{seconds_of(seen.main.samples)}, ""}; }

Measured rate(const Observation& seen) {
  if (seen.main.samples.size() < 2) return {{}, kNothing};
  if (!seen.period_asked) return {{}, "the recording keeps its own rate; give --period to hold it against one"};
  return {{100 * seen.period_ms / mean_interval_ms(seen)}, ""};
}

Measured gaps(const Observation& seen) {
  constexpr double kGapPeriods = 1.8;
  const std::vector<double> intervals = intervals_ms(seen.main.samples);
  if (intervals.empty()) return {{}, kNothing};
  const auto wide = std::count_if(intervals.begin(), intervals.end(),
                                  [&seen](double interval) { return !(interval <= kGapPeriods * seen.period_ms); });
  return {{100 * static_cast<double>(wide) / static_cast<double>(seen.main.samples.size())}, ""};
}

Measured jitter(const Observation& seen) {
  const std::vector<double> intervals = intervals_ms(seen.main.samples);
  if (intervals.empty()) return {{}, kNothing};
  Statistics all;
  for (const double interval : intervals) all.add(interval);
  return {{100 * all.standard_deviation() / mean_interval_ms(seen)}, ""};
}

// The clocks of time stamps and arrivals have no common zero: the quickest event is taken to have come at once. As with
// the gaps, one event in a hundred is forgiven, since the process that looks may itself be held up.
Measured delay(const Observation& seen) {
  if (seen.main.samples.empty()) return {{}, kNothing};
  if (!seen.real_time) return {{}, "only at --speed 1"};
  std::vector<double> lags_ms;
  const Sample& first = seen.main.samples.front();
  for (const Sample& sample : seen.main.samples) {
    const std::chrono::duration<double, std::milli> arrived = sample.arrival - first.arrival;
    lags_ms.push_back(arrived.count() - static_cast<double>(sample.timestamp_ns - first.timestamp_ns) / kNsPerMs);
  }
  std::sort(lags_ms.begin(), lags_ms.end());
  return {{lags_ms[(lags_ms.size() - 1) * 99 / 100] - lags_ms.front()}, ""};
}

// How many values fulfil a condition.
template <typename Condition>
Measured count_values(const Observation& seen, Condition condition) {
  if (seen.main.samples.empty()) return {{}, kNothing};
  double count = 0;
  for (const Sample& sample : seen.main.samples) {
    for (size_t axis = 0; axis < seen.quantity.axes.size(); ++axis)
      count += condition(value_of(sample, seen.quantity, axis));
  }
  return {{count}, ""};
}

Measured not_finite(const Observation& seen) {
  return count_values(seen, [](double value) { return !std::isfinite(value); });
}

Measured out_of_range(const Observation& seen) {
  if (!(seen.max_range > 0)) return {{}, "the sensor lists no range"};
  constexpr double kRounding = 1.001;
  return count_values(seen, [&seen](double value) { return std::fabs(value) > kRounding * seen.max_range; });
}

Measured changes(const Observation& seen) {
  const std::vector<Sample>& samples = seen.main.samples;
  if (samples.size() < 2) return {{}, kNothing};
  Measured out{{0}, ""};
  for (size_t i = 1; i < samples.size(); ++i) {
    out.values[0] += samples[i].words != samples[i - 1].words ? 1 : 0;
  }
  return out;
}

Measured noise(const Observation& seen) {
  return per_axis(seen, [](const Statistics& axis, size_t) { return axis.standard_deviation(); });
}

Measured variance_per_hz(const Observation& seen) {
  return per_axis(seen, [&seen](const Statistics& axis, size_t) {
    return axis.standard_deviation() * axis.standard_deviation() * mean_interval_ms(seen) / kMsPerS;
  });
}

// A phone of which the rotation is not known is taken to lie still.
Measured stationary_error(const Observation& seen) {
  return per_axis(seen, [&seen](const Statistics& statistics, size_t axis) {
    return std::fabs(statistics.mean() - (axis < seen.main.truth.size() ? seen.main.truth[axis] : 0));
  });
}

Measured absolute_pressure(const Observation& seen) {
  if (seen.main.truth.empty()) return {{}, "the true pressure is not known; give --reference HPA"};
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
    seconds[static_cast<size_t>(std::clamp(at, 0.0, last))].add(value_of(take.samples[i], seen.quantity, 0));
  }
  for (const Statistics& second : seconds) {
    if (second.count() > 0) errors->push_back(second.mean() - truth);
  }
}

// An error that all pressures share is none.
Measured relative_pressure(const Observation& seen) {
  std::vector<double> errors;
  add_errors(seen, seen.main, &errors);
  add_errors(seen, seen.elsewhere, &errors);
  if (errors.empty()) return {{}, kNothing};
  const auto finite = [](double error) { return std::isfinite(error); };
  if (!std::all_of(errors.begin(), errors.end(), finite)) return {{std::numeric_limits<double>::quiet_NaN()}, ""};
  const auto [low, high] = std::minmax_element(errors.begin(), errors.end());
  return {{*high - *low}, ""};
}

// Whether the value lies within the limit; not-a-number never does.
bool within(const Limit& limit, double most, double value) {
  if (limit.strict) return value < most && value > limit.least;
  return value <= most && value >= limit.least;
}

// How far a value is from the limit it is nearest to missing: the larger, the worse.
double badness(const Finding& finding, double value) {
  if (std::isnan(value)) return kNone;
  return finding.limit->most < kNone ? value - finding.most : finding.limit->least - value;
}

Finding hold(const Limit& limit, const Observation& seen) {
  Finding out;
  out.limit = &limit;
  out.most = limit.most + (limit.sample_times > 0 ? limit.sample_times * seen.period_ms : 0);
  out.measured = limit.measure(seen);
  const std::vector<double>& values = out.measured.values;
  if (values.empty()) return out;
  const auto worse = [&out](double a, double b) { return badness(out, a) < badness(out, b); };
  out.worst = static_cast<size_t>(std::max_element(values.begin(), values.end(), worse) - values.begin());
  const bool passed =
      std::all_of(values.begin(), values.end(), [&](double value) { return within(limit, out.most, value); });
  out.status = passed ? Status::passed : Status::failed;
  return out;
}

// The groups that a sensor belongs to.
unsigned groups_of(int sensor_type, bool continuous) {
  const Sensor* sensor = sensor_of(sensor_type);
  return (continuous ? kContinuous : kOnChange) | (sensor == nullptr ? 0U : sensor->limits) |
         (sensor != nullptr && sensor->scatters ? kScatters : 0U);
}

}  // namespace

std::vector<double> intervals_ms(const std::vector<Sample>& samples) {
  std::vector<double> out;
  for (size_t i = 1; i < samples.size(); ++i) {
    out.push_back(static_cast<double>(samples[i].timestamp_ns - samples[i - 1].timestamp_ns) / kNsPerMs);
  }
  return out;
}

double seconds_of(std::span<const Sample> samples) {
  if (samples.empty()) return 0;
  return static_cast<double>(samples.back().timestamp_ns - samples.front().timestamp_ns) / kNsPerMs / kMsPerS;
}

double value_of(const Sample& sample, const Quantity& quantity, size_t axis) {
  return static_cast<double>(sample.words[static_cast<size_t>(quantity.first_word) + axis]);
}

const std::vector<Limit>& limits() {
  constexpr unsigned kAny = kContinuous | kOnChange;
  static const std::vector<Limit> kLimits = {
      {"first_sample", "first sample", kAllSections, "ms", -kNone, 400, 2, false, kAny, first_sample,
       "the sensor is silent or slow to start: look at its connection and its driver"},
      {"duration", "samples for", kAllSections, "s", 3, kNone, 0, false, kContinuous, duration,
       "the sensor fell silent, or the recording is too short"},
      {"rate", "rate, of the request", kAllSections, "%", 90, 220, 0, false, kContinuous, rate,
       "the driver keeps another rate than asked for, loses events, or sends each more than once"},
      {"gaps", "gaps over 1.8 periods", kAllSections, "% of events", -kNone, 1, 0, false, kContinuous, gaps,
       "events are lost: the bus or the hub is too busy, or the sensor answers late"},
      {"jitter", "jitter", kAllSections, "% of the period", -kNone, 3, 0, true, kContinuous, jitter,
       "time stamps are made when the event is read, or events come twice: look at the driver's clock"},
      {"delay", "delay of 99 % of the events", kAllSections, "ms", -kNone, 100, 2, false, kContinuous, delay,
       "events are held back and come in bursts, though no batching was asked for"},
      {"noise", "noise", kAccelerometerSection, "m/s^2", -kNone, kAccelerometerNoise, 0, false,
       Published::accelerometer, noise,
       "the phone moves or the table shakes: set it down still; else the sensor is noisy"},
      {"variance", "variance per Hz", kGyroscopeSection, "(rad/s)^2/Hz", -kNone, kGyroscopeVariance, 0, false,
       Published::gyroscope, variance_per_hz,
       "the phone moves or the table shakes: set it down still; else the sensor is noisy"},
      {"stationary_error", "error at rest", kGyroscopeSection, "rad/s", -kNone, 0.01, 0, true,
       Published::calibrated_gyroscope, stationary_error, "calibrate it: sensorcal calibrate Gyr, or Gyr2"},
      {"absolute", "absolute accuracy", kBarometerSection, "hPa", -kNone, 1, 0, false, Published::barometer,
       absolute_pressure, "calibrate it: sensorcal calibrate Bar --reference HPA"},
      {"relative", "relative accuracy", kBarometerSection, "hPa", -kNone, kRelativePressure, 0, false,
       Published::barometer, relative_pressure, "a door or a fan moved the air, or the sensor drifts"},
      {"live", "changes between samples", kOwn, "", 1, kNone, 0, false, kScatters, changes,
       "the sensor repeats one value: it is stuck, or its driver does not update it"},
      {"not_finite", "values that are no numbers", kOwn, "", -kNone, 0, 0, false, kAny, not_finite,
       "the driver delivers not-a-number or infinity"},
      {"out_of_range", "values beyond the sensor's own range", kOwn, "", -kNone, 0, 0, false, kAny, out_of_range,
       "the sensor is broken, or its driver scales its values wrongly"},
  };
  return kLimits;
}

std::vector<Finding> judge_sensor(const Observation& seen) {
  const unsigned groups = groups_of(seen.quantity.type, seen.continuous);
  std::vector<Finding> out;
  for (const Limit& limit : limits()) {
    if ((limit.applies & groups) != 0) out.push_back(hold(limit, seen));
  }
  return out;
}

double noise_limit(int sensor_type, double rate_hz) {
  const unsigned groups = groups_of(sensor_type, true);
  if ((groups & Published::accelerometer) != 0) return kAccelerometerNoise;
  if ((groups & Published::gyroscope) != 0) return std::sqrt(kGyroscopeVariance * rate_hz);
  return (groups & Published::barometer) != 0 ? kRelativePressure : kNone;
}

}  // namespace factory
