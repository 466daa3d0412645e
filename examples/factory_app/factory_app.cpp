// The smallest factory application: calibrates the accelerometer and the light sensor, and says what came of it. The
// phone lies flat and still, face up, and its light sensor sees 200 lux.
#include "factory_app.h"

#include <SensorCalibration.h>
#include <cutils/properties.h>
#include <hidl/HidlTransportSupport.h>

#include <cctype>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

namespace {

// What the hub is to hold after a calibration, and what it holds.
struct Values {
  std::vector<float> found, held;
};

Values offsets(SensorCalibration& cal) {
  Values out{{cal.motion_info[0].mean, cal.motion_info[0].mean + 3}, std::vector<float>(3)};
  cal.cal_api->getAMGOffset_api(sensor_type::accelerometer, out.held.data());
  return out;
}

Values scale(SensorCalibration& cal) {
  Values out{{cal.env_info[1].coefficient}, {0}};
  cal.cal_api->getLuxScale_api(out.held.data(), cal.env_info[1].lux_flag, sensor_type::light);
  return out;
}

struct Sensor {
  const char* tag;
  int position;  // in the report
  _sensor_info& (*record)(SensorCalibration& cal);
  Values (*values)(SensorCalibration& cal);
};
constexpr Sensor kSensors[] = {
    {"Acc", 0, [](SensorCalibration& cal) -> _sensor_info& { return cal.motion_info[0]; }, offsets},
    {"Lux", 2, [](SensorCalibration& cal) -> _sensor_info& { return cal.env_info[1]; }, scale},
};

// What keeps the object from being used; empty: nothing.
std::string missing(SensorCalibration& cal) {
  return cal.sensor_manager == nullptr ? "the sensor service does not answer"
         : cal.initCheck() != 0        ? "the sensor test service does not answer"
         : cal.sensor_list.size() == 0 ? "the sensor list could not be read"
         : cal.event_queue == nullptr  ? "the sensor service gave no event queue"
                                       : "";
}

// Why sensor_calibrate() did not return 0. Its record says how far the run came, the log says the rest.
std::string why(const _sensor_info& record) {
  if (record.present == 0) return "the phone lists no such sensor";
  const std::string time = std::to_string(record.timeout_s) + " s";
  switch (record.status) {
    case 0:
      return "the run could not start: the sensor service refused the sensor";
    case 1:
      return record.event_count == 0 ? "no event came within " + time
                                     : std::to_string(record.event_count) + " events within " + time + ", but no " +
                                           std::to_string(record.sample_num) + " samples that pass the limits";
    default:
      return "the values were found, but they are out of range or the hub refused them";
  }
}

// The library cannot tell a message that was lost from one that the hub took: only what can be read back counts.
std::string not_held(const Values& values) {
  constexpr float kRounding = 1e-6F;
  for (size_t i = 0; i < values.found.size(); ++i) {
    if (!std::isfinite(values.found[i])) return "the sensor delivered what is not a number";
    if (!(std::fabs(values.held[i] - values.found[i]) <= kRounding)) return "the hub does not hold what was sent to it";
  }
  return "";
}

// The report's character of a position; '-' where this phone's report leaves it out.
char reported(const std::string& report, int position) {
  char flags[PROPERTY_VALUE_MAX] = {};
  property_get("persist.vendor.sensor.cali_sensor", flags, "");
  const auto enabled = [&](int i) {
    return std::isdigit(static_cast<unsigned char>(flags[i])) != 0 ? flags[i] != '0' : i < 4;
  };
  size_t place = 0;
  for (int i = 0; i < position; ++i) place += enabled(i) ? 1 : 0;
  return enabled(position) && place < report.size() ? report[place] : '-';
}

bool calibrate(SensorCalibration& cal, const Sensor& sensor) {
  const int result = cal.sensor_calibrate(getSensorType(sensor.tag), 0);
  const Values values = sensor.values(cal);
  const std::string problem = result != 0 ? why(sensor.record(cal)) : not_held(values);
  if (!problem.empty()) {
    std::printf("%s FAILED: %s\n", sensor.tag, problem.c_str());
    return false;
  }
  std::printf("%s calibrated:", sensor.tag);
  for (const float value : values.held) std::printf(" %.5f", static_cast<double>(value));
  std::printf("\n");
  return true;
}

int run(SensorCalibration& cal) {
  if (const std::string what = missing(cal); !what.empty()) {
    std::printf("not ready: %s\n", what.c_str());
    return 3;
  }
  bool passed = true;
  for (const Sensor& sensor : kSensors) passed &= calibrate(cal, sensor);
  cal.get_judge_calibrated();
  const std::string report = cal.GetCalibrated();
  std::printf("report %s:", report.c_str());
  for (const Sensor& sensor : kSensors) {
    const char verdict = reported(report, sensor.position);
    std::printf(" %s %c", sensor.tag, verdict);
    passed &= verdict != '0';
  }
  std::printf("\n");
  return passed ? 0 : 1;
}

}  // namespace

int factory_app() {
  // Events come on threads of this pool, and without one never.
  ::android::hardware::configureRpcThreadpool(1, false);
  SensorCalibration cal;
  const int code = run(cal);
  cal.sensor_cal_deinit();
  return code;
}
