#include "phone/traces/recording_check.h"

#include <SensorType.h>

#include <algorithm>
#include <cmath>

#include "phone/traces/column_name.h"

namespace phone {
namespace {

constexpr double kNsPerS = 1e9;
constexpr int64_t kGapFactor = 3;
constexpr size_t kStillSamples = 32;

struct Moments {
  std::vector<double> mean;
  std::vector<double> std_dev;
};

Moments moments(const Recording& recording, size_t begin, size_t end) {
  Moments out;
  const double count = static_cast<double>(end - begin);
  for (size_t axis = 0; axis < static_cast<size_t>(recording.axes); ++axis) {
    double sum = 0, squares = 0;
    for (size_t i = begin; i < end; ++i) sum += static_cast<double>(recording.samples[i].v[axis]);
    const double mean = sum / count;
    for (size_t i = begin; i < end; ++i) {
      const double off = static_cast<double>(recording.samples[i].v[axis]) - mean;
      squares += off * off;
    }
    out.mean.push_back(mean);
    out.std_dev.push_back(std::sqrt(squares / count));
  }
  return out;
}

double length(const std::vector<double>& v) { return std::hypot(v[0], v[1], v[2]); }

void find_stillest(Recording* recording) {
  const size_t window = std::min(kStillSamples, recording->samples.size());
  const size_t step = std::max<size_t>(1, window / 4);
  RecordingReport& report = recording->report;
  double least = INFINITY;
  for (size_t begin = 0; begin + window <= recording->samples.size(); begin += step) {
    const Moments here = moments(*recording, begin, begin + window);
    if (!(length(here.std_dev) < least)) continue;
    least = length(here.std_dev);
    report.stillest_at_s = static_cast<double>(recording->samples[begin].time_ns) / kNsPerS;
    report.stillest_mean = here.mean;
    report.stillest_std_dev = here.std_dev;
  }
}

std::vector<double> magnitudes(const Recording& recording) {
  std::vector<double> out;
  for (const RecordedSample& sample : recording.samples) {
    out.push_back(std::hypot(static_cast<double>(sample.v[0]), static_cast<double>(sample.v[1]),
                             static_cast<double>(sample.v[2])));
  }
  return out;
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// Half of the distances from the median lie below it.
double median_distance(std::vector<double> values, double from) {
  for (double& value : values) value = std::abs(value - from);
  return median(std::move(values));
}

bool near(double value, double expected) { return value > 0.85 * expected && value < 1.15 * expected; }

void add_slip(RecordingReport* report, const char* code, const std::string& text) {
  report->slips.push_back({code, text});
}

// At rest an upright phone shows +g on y and one on its back +g on z; the second accelerometer is mounted the other way
// up.
void check_sign(const ReplayOption& replay, RecordingReport* report) {
  if (length(report->stillest_std_dev) > 0.1 * length(report->stillest_mean)) return;  // it never lies still
  const bool second = replay.sensor_type == sensor_type::accelerometer_second;
  for (const size_t axis : {size_t{1}, size_t{2}}) {
    if (second && axis == 1) continue;
    const double at_rest = report->stillest_mean[axis];
    const double share = at_rest / std::max(length(report->stillest_mean), 1e-30);
    if ((second ? -share : share) > -0.8) continue;
    add_slip(report, "opposite_sign",
             std::string(axis == 1 ? "y" : "z") + " at rest is " + number_text(at_rest) +
                 " m/s^2: the sign is opposite, or the phone lies the other way up; for the former give sign=" +
                 (replay.negate ? "+" : "-"));
  }
}

// Gravity is what tells: its magnitude the unit, its absence that an app took it away, its direction the sign.
void check_accelerometer(const ColumnPlan& plan, const ReplayOption& replay, Recording* recording) {
  RecordingReport& report = recording->report;
  const std::vector<double> all = magnitudes(*recording);
  const double magnitude = median(all);
  const double as_written = magnitude / std::abs(plan.unit.factor);
  const std::string seen = "magnitude " + number_text(as_written);
  const bool steady = median_distance(all, magnitude) < 0.15 * magnitude;
  bool gravity = true;
  if (plan.gravity_removed) {
    add_slip(&report, "gravity_removed",
             "the header says linear acceleration: gravity is removed, take another column");
    gravity = false;
  } else if (steady && near(as_written, 1) && plan.unit.name != "g") {
    add_slip(&report, "looks_like_g", seen + " looks like g: give unit=g");
  } else if (near(as_written, 1000) && steady && plan.unit.name != "mg") {
    add_slip(&report, "looks_like_mg", seen + " looks like mg: give unit=mg");
  } else if (steady && near(as_written, kStandardGravity) && plan.unit.factor != 1) {
    add_slip(&report, "looks_like_m_s2", seen + " looks like m/s^2, not " + plan.unit.name + ": give unit=m/s^2");
  } else if (magnitude > 5 * kStandardGravity) {
    add_slip(&report, "implausible",
             seen + " " + plan.unit.name + " is more than an accelerometer at hand shows: raw counts want unit=FACTOR");
  } else if (magnitude < 0.6 * kStandardGravity) {
    add_slip(&report, "gravity_removed",
             seen + " " + plan.unit.name + " is too little for gravity: linear acceleration? Take the total one");
    gravity = false;
  }
  if (!gravity) return;
  check_sign(replay, &report);
}

void check_gyroscope(const ColumnPlan& plan, Recording* recording) {
  constexpr double kFastest = 40;        // rad/s; gyroscopes of phones end at 2000 deg/s, 35 rad/s
  constexpr double kNoisiest = 0.02;     // rad/s; several times the noise of a poor one
  constexpr double kQuietest = 0.00005;  // rad/s; below the noise of a good one
  RecordingReport& report = recording->report;
  const std::vector<double> all = magnitudes(*recording);
  const double fastest = *std::max_element(all.begin(), all.end());
  const double stillest = length(report.stillest_std_dev);
  // Noise is as strong everywhere; a hand that moves is not.
  const bool stationary =
      all.size() >= 4 * kStillSamples && length(report.std_dev) < 2 * stillest && length(report.mean) < 10 * stillest;
  const bool told_degrees = plan.unit.name == "deg/s";
  const std::string unit = plan.unit.measure == Quantity::counts ? "" : " " + plan.unit.name;
  if (fastest > kFastest) {
    add_slip(&report, told_degrees ? "implausible" : "looks_like_degrees",
             "up to " + number_text(fastest / plan.unit.factor) + unit + " is more than a gyroscope reaches" +
                 (told_degrees ? "" : ": deg/s? Then give unit=deg/s"));
  } else if (stationary && stillest > kNoisiest && !told_degrees) {
    add_slip(&report, "looks_like_degrees",
             "at rest the noise is " + number_text(stillest / plan.unit.factor) + unit +
                 ", which looks like deg/s: give unit=deg/s");
  } else if (told_degrees && length(report.std_dev) > 0 && length(report.std_dev) < kQuietest) {
    add_slip(&report, "looks_like_radians",
             "noise of " + number_text(length(report.std_dev) / plan.unit.factor) +
                 " is too little for deg/s: rad/s? Then give unit=rad/s");
  }
}

void check_barometer(const ColumnPlan& plan, Recording* recording) {
  struct Range {
    const char* unit;
    double low, high;  // of pressures from the highest mountain to the deepest mine
    const char* code;
  };
  constexpr Range kRanges[] = {
      {"hPa", 300, 1150, "looks_like_hpa"}, {"Pa", 30000, 115000, "looks_like_pa"}, {"kPa", 30, 115, "looks_like_kpa"}};
  RecordingReport& report = recording->report;
  const double pressure = report.mean[0];
  if (pressure >= 300 && pressure <= 1150) return;
  const double as_written = pressure / plan.unit.factor;
  const std::string seen = "mean " + number_text(as_written);
  for (const Range& range : kRanges) {
    if (as_written < range.low || as_written > range.high) continue;
    add_slip(&report, range.code, seen + " looks like " + range.unit + ": give unit=" + range.unit);
    return;
  }
  add_slip(&report, "implausible", seen + " " + plan.unit.name + " is no pressure of the open air");
}

// Bare "x,y,z" say nothing; the name of the file often does.
void check_file_name(const ReplayKind& kind, RecordingReport* report) {
  const ColumnName name = read_column_name(report->file.substr(0, report->file.rfind('.')));
  if (!name.measure_named || *name.measure == Quantity::other || *name.measure == kind.measure) return;
  if (kind.measure == Quantity::counts) return;
  add_slip(report, "other_sensor", "the file's name speaks of another sensor than " + std::string(kind.name));
}

int64_t median_spacing_ns(const std::vector<RecordedSample>& samples) {
  std::vector<int64_t> steps;
  for (size_t i = 1; i < samples.size(); ++i) {
    const int64_t step = samples[i].time_ns - samples[i - 1].time_ns;
    if (step > 0) steps.push_back(step);
  }
  if (steps.empty()) return 0;
  const auto middle = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
  std::nth_element(steps.begin(), middle, steps.end());
  return *middle;
}

}  // namespace

void check_timing(const ReplayKind& kind, const std::vector<size_t>& lines, Recording* recording) {
  const std::vector<RecordedSample>& samples = recording->samples;
  RecordingReport& report = recording->report;
  const int64_t median_ns = median_spacing_ns(samples);
  int64_t longest_ns = 0;
  for (size_t i = 1; i < samples.size(); ++i) {
    const int64_t step = samples[i].time_ns - samples[i - 1].time_ns;
    if (samples[i].v == samples[i - 1].v) ++report.repeated_values;
    if (step == 0) ++report.duplicate_times;
    if (step < 0 && report.times_back++ == 0) report.first_back_line = lines[i];
    if (kind.on_change || median_ns == 0 || step / kGapFactor < median_ns) continue;
    ++report.gaps;
    if (step <= longest_ns) continue;
    longest_ns = step;
    report.longest_gap_at_s = static_cast<double>(samples[i - 1].time_ns) / kNsPerS;
    report.longest_gap_line = lines[i];
  }
  report.samples = samples.size();
  report.longest_gap_s = static_cast<double>(longest_ns) / kNsPerS;
  report.duration_s = static_cast<double>(samples.back().time_ns) / kNsPerS;
  if (kind.on_change || median_ns == 0) return;
  report.rate_hz = kNsPerS / static_cast<double>(median_ns);
  if (report.duration_s > 0) report.mean_rate_hz = static_cast<double>(samples.size() - 1) / report.duration_s;
}

void check_values(const ReplayKind& kind, const ColumnPlan& plan, const ReplayOption& replay, Recording* recording) {
  RecordingReport& report = recording->report;
  const Moments all = moments(*recording, 0, recording->samples.size());
  report.mean = all.mean;
  report.std_dev = all.std_dev;
  if (kind.layout == Layout::axes) find_stillest(recording);
  const bool moves = std::any_of(all.std_dev.begin(), all.std_dev.end(), [](double value) { return value > 0; });
  if (!kind.on_change && !moves && recording->samples.size() > 1) {
    add_slip(&report, "constant", "every sample is the same: a run that wants noise never finishes on it");
  }
  if (!plan.measure_named) check_file_name(kind, &report);
  if (kind.layout == Layout::axes && report.stillest_mean.empty()) return;
  if (kind.measure == Quantity::acceleration) check_accelerometer(plan, replay, recording);
  if (kind.measure == Quantity::angular_rate) check_gyroscope(plan, recording);
  if (kind.measure == Quantity::pressure) check_barometer(plan, recording);
}

}  // namespace phone
