#include "sensors/kinds.h"

#include <cctype>

#include "files/app_error.h"

namespace factory {
namespace {

using namespace sensor_type;  // NOLINT(google-build-using-namespace): the table below is nothing but these names

constexpr double kLightResidual = 0.05;
constexpr double kLampLux = 200;

constexpr Kind kKinds[] = {
    {accelerometer, accelerometer, 0, 3, 0, 20, 53, "m/s^2", {"x", "y", "z"}, Result::offset, 0.02, false},
    {accelerometer_second,
     accelerometer_second,
     4,
     3,
     0,
     20,
     53,
     "m/s^2",
     {"x", "y", "z"},
     Result::offset,
     0.02,
     false},
    // Verified ahead of the hub's run-time bias, which would hide an error.
    {gyroscope, gyroscope_uncalibrated, 3, 3, 0, 20, 53, "rad/s", {"x", "y", "z"}, Result::offset, 0.00035, false},
    {gyroscope_second, gyroscope_second, 7, 3, 0, 20, 53, "rad/s", {"x", "y", "z"}, Result::offset, 0.00035, false},
    {pressure, pressure, 17, 1, 0, 50, 13, "hPa", {"pressure"}, Result::offset, 0.12, false},
    {light, light, 9, 1, 0, 100, 10, "lux", {"light"}, Result::lux_scale, kLightResidual, true},
    {lux_f, lux_f, 10, 1, 0, 100, 10, "lux", {"light"}, Result::lux_scale, kLightResidual, true},
    {lux_b, lux_b, 11, 1, 0, 100, 10, "lux", {"light"}, Result::lux_scale, kLightResidual, true},
    {lux_b_stream, lux_b_stream, 11, 1, 0, 100, 10, "lux", {"light"}, Result::lux_scale, kLightResidual, true},
    {lux_sec, lux_sec, 14, 1, 0, 100, 10, "lux", {"light"}, Result::lux_scale, kLightResidual, true},
    {lux_sec_stream, lux_sec_stream, 14, 1, 0, 100, 10, "lux", {"light"}, Result::lux_scale, kLightResidual, true},
    {lux_pri2, lux_pri2, 15, 1, 0, 100, 10, "lux", {"light"}, Result::lux_scale, kLightResidual, true},
    {lux_pri2_stream, lux_pri2_stream, 15, 1, 0, 100, 10, "lux", {"light"}, Result::lux_scale, kLightResidual, true},
    {cct_f_stream,
     cct_f_stream,
     12,
     5,
     2,
     100,
     10,
     "counts",
     {"c1", "c2", "c3", "c4", "c5", "c6", "c7"},
     Result::channel_scale,
     kLightResidual,
     true},
    {cct_b_stream,
     cct_b_stream,
     13,
     5,
     2,
     100,
     10,
     "counts",
     {"c1", "c2", "c3", "c4", "c5", "c6", "c7"},
     Result::channel_scale,
     kLightResidual,
     true},
    {light_stream,
     light_stream,
     9,
     5,
     1,
     100,
     10,
     "counts",
     {"c1", "c2", "c3", "c4", "c5", "c6", "c7"},
     Result::channel_scale,
     kLightResidual,
     true},
    {proximity, proximity, 8, 1, 0, 100, 20, "counts", {"reflection"}, Result::proximity, 0, false},
};

// Which record each listed sensor type is bound to.
constexpr struct {
  int type, record;
} kRecords[] = {
    {accelerometer, 0},
    {gyroscope, 1},
    {gyroscope_uncalibrated, 3},
    {accelerometer_second, 4},
    {gyroscope_second, 7},
    {proximity_stream, 8},
    {light, 9},
    {light_stream, 9},
    {lux_f, 10},
    {lux_b, 11},
    {lux_b_stream, 11},
    {cct_f_stream, 12},
    {cct_b_stream, 13},
    {lux_sec, 14},
    {lux_sec_stream, 14},
    {lux_pri2, 15},
    {lux_pri2_stream, 15},
    {pressure, 17},
};

bool same_letters(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i]))) return false;
  }
  return true;
}

// These parameters mean a command to the hub, or a run at a lit panel, whatever the sensor.
bool is_hub_command(int param) { return param >= 4 && param <= 18; }

}  // namespace

const Kind* find_kind(int type, int param) {
  if (is_hub_command(param)) return nullptr;
  for (const Kind& kind : kKinds) {
    if (kind.type == type) return &kind;
  }
  return nullptr;
}

bool is_panel_run(int param) { return param == 13 || param == 14; }

bool can_calibrate(int type, int param) {
  const bool hub_alone = type == sar || type == sar_second;
  return find_kind(type, param) != nullptr || is_hub_command(param) || hub_alone;
}

const _sensor_info& record_of(const SensorCalibration& cal, const Kind& kind) {
  constexpr int kMotion = 8;
  return kind.record < kMotion ? cal.motion_info[kind.record] : cal.env_info[kind.record - kMotion];
}

int record_number(int sensor_type) {
  for (const auto& row : kRecords) {
    if (row.type == sensor_type) return row.record;
  }
  return -1;
}

std::vector<double> nominal(int type) {
  const Kind* kind = find_kind(type, 0);
  if (kind == nullptr) return {};
  if (type == accelerometer) return {0, 0, kGravity};
  if (type == accelerometer_second) return {0, 0, -kGravity};
  if (kind->result == Result::offset && kind->values == 3) return {0, 0, 0};
  if (kind->result == Result::lux_scale) return {kLampLux};
  return {};
}

int parse_tag(const std::string& text) {
  const int type = getSensorType(text.c_str());
  if (type >= 0 && (type != 0 || text == "0")) {
    // A number must be one to its end.
    if (!std::isdigit(static_cast<unsigned char>(text[0])) ||
        text.find_first_not_of("0123456789") == std::string::npos) {
      return type;
    }
  }
  std::string tags;
  for (const TagRow& row : kTags) {
    if (same_letters(text, row.tag)) throw AppError(kUsage, "sensor tag " + text + ": did you mean " + row.tag + "?");
    tags += std::string(" ") + row.tag;
  }
  throw AppError(kUsage, "unknown sensor tag " + text + "; known are" + tags + ", or a type number");
}

std::string tag_of(int type) { return getSensorName(type); }

}  // namespace factory
