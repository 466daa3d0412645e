// Calibration of the sensors that report continuously: offsets of the inertial sensors and the barometer, scale of the
// single-channel light sensors. Colour and light streams are in stream_flow.cpp.
#define LOG_TAG "libsensor_cal"
#include <SensorCalibration.h>

#include "base/log.h"
#include "catalogue/product.h"
#include "engine/flows.h"

namespace {

constexpr char kName[] = "continue_reporting_sensor_calibrate";
constexpr float kLampLux = 200.0F;
constexpr float kLargestCoefficient = 1000.0F;

//                                     period axes timeout samples variance  zero  bias      skip
constexpr RunSettings kAccelerometer = {20, 3, 5, 50, 10.0F, 1, 2.0F, 3};
constexpr RunSettings kGyroscope = {20, 3, 5, 50, 10.0F, 1, 0.5F, 3};
constexpr RunSettings kBarometer = {50, 1, 5, 10, 10000.0F, 1, 100.0F, 3};
constexpr RunSettings kSingleLight = {100, 1, 8, 5, 10000.0F, 0, 10000.0F, 5};

// What differs between the four inertial sensors.
struct Inertial {
  int marker;  // number in the branch's entry line; 0: the branch logs none
  bool gyroscope;
};

void log_absent(const Inertial& kind, int type) {
  if (kind.gyroscope) {
    LOGE("%s: uncalibrated sensor not exist. type = %d", kName, type);  // deliberately for the second one too
  } else {
    LOGE("%s: sensor not exist. type = %d", kName, type);
  }
}

int calibrate_inertial(SensorCalibration& cal, int type, _sensor_info& record, const Inertial& kind) {
  // 1. Entry.
  if (kind.marker != 0) LOGI("%s: enter line=%d", kName, kind.marker);
  // 2. The sensor must be there.
  if (record.present == 0) {
    log_absent(kind, type);
    return -1;
  }
  // 3. Settings.
  write_settings(cal, record, kind.gyroscope ? kGyroscope : kAccelerometer);
  // 4. The offset in force is added back to every event, so that the means are raw biases.
  const int read = read_into_record(cal, record.offset, 3,
                                    [&](float* offset) { return cal.cal_api->getAMGOffset_api(type, offset); });
  if (read != 0) {
    if (kind.gyroscope) {
      LOGE("gyroscope_calibrate getGyrooffset fail ret = %d", read);
    } else {
      LOGE("accelerometer_calibrate getAccelBias fail ret = %d", read);
    }
    return read;
  }
  // 5. Run.
  const int state = run_in_mode(cal, record, &_sensor_info::in_calibrate);
  if (state != run_state::finished) {
    LOGE("sensor(type=%d) calibrate fail: state=%d", type, state);
    return -1;
  }
  // 6. Push.
  if (cal.cal_api->setAMGOffset_api(type, record.mean) != 0) {
    LOGE("calibrate sensor(type=%d) failed when set offset to hub", type);
    return -1;
  }
  // 7. One product's hub keeps a run-time bias of its own.
  if (kind.gyroscope && is_your_product("velra")) cal.cal_api->reset_gyro_cal_api(type);
  // 8. Done.
  LOGI("calibrate sensor(type=%d) successfully, offset=%f,%f,%f", type, static_cast<double>(record.mean[0]),
       static_cast<double>(record.mean[1]), static_cast<double>(record.mean[2]));
  return 0;
}

int calibrate_accelerometer(SensorCalibration& cal, int type, int /*param*/, _sensor_info& record) {
  const int marker = type == sensor_type::accelerometer ? 2065 : 2160;
  return calibrate_inertial(cal, type, record, {marker, false});
}

int calibrate_gyroscope(SensorCalibration& cal, int type, int /*param*/, _sensor_info& record) {
  return calibrate_inertial(cal, type, record, {0, true});
}

int calibrate_barometer(SensorCalibration& cal, int type, int /*param*/, _sensor_info& record) {
  // 1. Entry; the sensor must be there.
  LOGI("%s: enter line=%d", kName, 2261);
  if (record.present == 0) {
    LOGE("%s: sensor not exist. type = %d", kName, type);
    return -1;
  }
  // 2. Settings, and the offset in force.
  write_settings(cal, record, kBarometer);
  const int read =
      read_into_record(cal, record.offset, 1, [&](float* offset) { return cal.cal_api->getBarOffset_api(offset); });
  if (read != 0) {
    LOGE("presure_calibrate getBarOffset_api fail ret = %d", read);
    return read;
  }
  // 3. Run.
  const int state = run_in_mode(cal, record, &_sensor_info::in_calibrate);
  if (state != run_state::finished) {
    LOGE("sensor(type=%d) calibrate fail: state=%d", type, state);
    return -1;
  }
  // 4. Push.
  if (cal.cal_api->setBarOffset_api(record.mean[0]) != 0) {
    LOGE("calibrate sensor(type=%d) failed when set offset to hub", type);
    return -1;
  }
  LOGI("calibrate sensor(type=%d) successfully, offset=%f", type, static_cast<double>(record.mean[0]));
  return 0;
}

// Deliberately without a look at `present`: a missing sensor fails in the wait.
int calibrate_single_light(SensorCalibration& cal, int type, int /*param*/, _sensor_info& record) {
  // 1. Settings.
  write_settings(cal, record, kSingleLight);
  const bool flag = record.lux_flag;
  // 2. The scale in force divides every event, so that the mean is the unscaled reading.
  const int read = read_into_record(cal, record.scale, 1,
                                    [&](float* scale) { return cal.cal_api->getLuxScale_api(scale, flag, type); });
  if (read < 0) {
    LOGE("lightsensor_calibrate getLuxScale fail ret = %d", read);
    return read;
  }
  // 3. Run.
  {
    const EventHold hold(cal);
    record.in_backlight_calibrate = 0;
  }
  const int state = run_in_mode(cal, record, &_sensor_info::in_calibrate);
  if (state != run_state::finished) {
    LOGE("lightsensor calibrate fail: state=%d", state);
    return -1;
  }
  // 4. The factory lamp gives 200 lux.
  const float coefficient = kLampLux / record.mean[0];
  if (coefficient < 0 || coefficient > kLargestCoefficient) {
    LOGE("fatal error: invalid coefficient");
    return -1;
  }
  // 5. Keep and push.
  record.coefficient = coefficient;
  if (cal.cal_api->setLuxScale_api(coefficient, flag, type) != 0) {
    LOGE("calibrate sensor(type=%d) failed when set offset to hub", type);
    return -1;
  }
  LOGI("lightsensor sensor calibrate success: coefficient = %f", static_cast<double>(coefficient));
  return 0;
}

int calibrate_plain_stream(SensorCalibration& cal, int type, int param, _sensor_info& record) {
  return calibrate_stream(cal, type, param, record, false);
}

struct Kind {
  int type;
  Record record;
  int (*calibrate)(SensorCalibration& cal, int type, int param, _sensor_info& record);
};

constexpr Kind kKinds[] = {
    {sensor_type::accelerometer, kRecordAcc, calibrate_accelerometer},
    {sensor_type::accelerometer_second, kRecordAcc2, calibrate_accelerometer},
    {sensor_type::gyroscope, kRecordGyroUncalibrated, calibrate_gyroscope},  // sampled before the hub's own correction
    {sensor_type::gyroscope_second, kRecordGyro2, calibrate_gyroscope},
    {sensor_type::pressure, kRecordPressure, calibrate_barometer},
    {sensor_type::light, kRecordLight, calibrate_single_light},
    {sensor_type::lux_f, kRecordLuxF, calibrate_single_light},
    {sensor_type::lux_b, kRecordLuxB, calibrate_single_light},
    {sensor_type::lux_b_stream, kRecordLuxB, calibrate_single_light},
    {sensor_type::lux_sec, kRecordLuxSec, calibrate_single_light},
    {sensor_type::lux_sec_stream, kRecordLuxSec, calibrate_single_light},
    {sensor_type::lux_pri2, kRecordLuxPri2, calibrate_single_light},
    {sensor_type::lux_pri2_stream, kRecordLuxPri2, calibrate_single_light},
    {sensor_type::cct_f_stream, kRecordCctF, calibrate_colour_f},
    {sensor_type::cct_b_stream, kRecordCctB, calibrate_plain_stream},
    {sensor_type::light_stream, kRecordLight, calibrate_plain_stream},
};

}  // namespace

int SensorCalibration::continue_reporting_sensor_calibrate(int type, int param) {
  LOGI("%s: enter type=%d, param = %d", kName, type, param);
  for (const Kind& kind : kKinds) {
    if (kind.type != type) continue;
    if (cal_api == nullptr) return -1;
    return kind.calibrate(*this, type, param, record_at(*this, kind.record));
  }
  return 0;
}
