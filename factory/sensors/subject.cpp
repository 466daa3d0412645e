#include "sensors/subject.h"

#include <algorithm>

namespace factory::plan {
namespace {

using namespace sensor_type;  // NOLINT(google-build-using-namespace): the tables below are nothing but these names

constexpr int kMotionPeriodMs = 20;

// Sensors without a run of their own.
struct Extra {
  int type;
  int values;
  const char* axes[3];
  const char* unit;
};
constexpr Extra kExtras[] = {
    {gyroscope_uncalibrated, 3, {"x", "y", "z"}, "rad/s"}, {sar, 3, {"c1", "c2", "c3"}, "counts"},
    {sar_second, 3, {"c1", "c2", "c3"}, "counts"},         {tof, 1, {"distance"}, "mm"},
    {proximity_stream, 1, {"reflection"}, "counts"},
};

// Which steps the library knows, by what the sensor is.
enum class Of { offset, lux_scale, channel_scale, proximity, sar, tof, light, any };
struct StepRow {
  Of of;
  int first;  // parameters, inclusive
  int last;
};
constexpr StepRow kSteps[] = {
    {Of::offset, 0, 0},    {Of::lux_scale, 0, 0}, {Of::channel_scale, -1, 0},
    {Of::proximity, 0, 0}, {Of::proximity, 2, 2}, {Of::proximity, 19, 19},
    {Of::proximity, 5, 7}, {Of::sar, -1, 0},      {Of::tof, 5, 6},
    {Of::light, 8, 18},    {Of::any, 4, 4},
};

bool is(Of of, int type) {
  const Kind* kind = find_kind(type, 0);
  switch (of) {
    case Of::offset:
      return kind != nullptr && kind->result == Result::offset;
    case Of::lux_scale:
      return kind != nullptr && kind->result == Result::lux_scale;
    case Of::channel_scale:
      return kind != nullptr && kind->result == Result::channel_scale;
    case Of::proximity:
      return type == sensor_type::proximity;
    case Of::sar:
      return type == sensor_type::sar || type == sar_second;
    case Of::tof:
      return type == sensor_type::tof;
    case Of::light:
      return kind != nullptr && (kind->result == Result::lux_scale || kind->result == Result::channel_scale);
    case Of::any:
      return true;
  }
  return false;
}

}  // namespace

std::optional<Subject> subject_of(int type) {
  Subject out;
  const Kind* kind = find_kind(type, 0);
  if (kind != nullptr && kind->result != Result::proximity) {
    out.type = type;
    out.axes.assign(kind->axes, kind->axes + kind->values);
    out.first_word = kind->first_word;
    out.period_ms = kind->period_ms;
    out.unit = kind->unit;
    out.motion = kind->result == Result::offset;
    return out;
  }
  for (const Extra& row : kExtras) {
    if (row.type != type) continue;
    out.type = type;
    out.axes.assign(row.axes, row.axes + row.values);
    out.unit = row.unit;
    out.motion = type == gyroscope_uncalibrated;
    if (out.motion) out.period_ms = kMotionPeriodMs;
    return out;
  }
  return std::nullopt;
}

bool can_calibrate(int type, int param) {
  return std::any_of(std::begin(kSteps), std::end(kSteps),
                     [&](const StepRow& row) { return param >= row.first && param <= row.last && is(row.of, type); });
}

std::string step_problem(int type, int param) {
  if (can_calibrate(type, param)) return "";
  constexpr int kLeast = -1;
  constexpr int kMost = 21;
  std::string there;
  for (int step = kLeast; step <= kMost; ++step) {
    if (can_calibrate(type, step)) there += (there.empty() ? "" : ", ") + std::to_string(step);
  }
  return "the library has no step " + std::to_string(param) + " for " + tag_of(type) + "; it has " + there;
}

std::string channel_problem(int type, bool screen) {
  constexpr int kHighLux = 12;
  const bool there = screen ? can_calibrate(type, kHighLux) : type == light || type == lux_b;
  return there ? "" : tag_of(type) + " has no such channel: only Lux and Lux_B have channels, lights one of the screen";
}

std::string found_unit(const Kind& kind, bool golden) {
  return golden || kind.result == Result::offset || kind.result == Result::proximity ? kind.unit : "factor";
}

namespace {

struct NoiseRow {
  const char* unit;
  double fresh;
  double run;
};
constexpr NoiseRow kNoise[] = {{"m/s^2", 0.05, 0.2}, {"rad/s", 0.005, 0.02}, {"hPa", 0.12, 0.2}};

double noise_of(const std::string& unit, double NoiseRow::*which) {
  for (const NoiseRow& row : kNoise) {
    if (unit == row.unit) return row.*which;
  }
  return 0;
}

}  // namespace

double usual_noise(const std::string& unit) { return noise_of(unit, &NoiseRow::fresh); }
double rest_noise(const std::string& unit) { return noise_of(unit, &NoiseRow::run); }

}  // namespace factory::plan
