// Reads single stored values back from the hub.
#define LOG_TAG "libsensor_cal"
#include <SensorCalibration.h>
#include <cutils/properties.h>

#include "base/log.h"
#include "base/numbers.h"
#include "records/direct_request.h"

namespace {

constexpr char kName[] = "sensor_getconfig";
constexpr int kAxes = 3;
constexpr int kSecondCrosstalk = 3;  // what the hub calls component 0 of a part that calibrates its own crosstalk
constexpr int kMaxLength = 10;
constexpr float kCollectCommand = -10;

struct Values {
  float v[kAxes] = {};
};

// The readers: each reads one kind of sensor and logs its own failure. False where the query answers 0.0.

bool read_inertial(SensorCalibration& cal, int type, int, Values* values) {
  const int ret = cal.cal_api->getAMGOffset_api(type, values->v);
  if (ret != 0) LOGE("getAMGOffset_api fail type=%d, ret=%d", type, ret);
  return ret == 0;
}

bool read_light(SensorCalibration& cal, int type, int, Values* values) {
  const int rgb = cal.test_is_rgb_sensor();
  if (rgb < 0) return false;
  values->v[0] = 1;
  const int ret = cal.cal_api->getLuxScale_api(values->v, rgb != 0, type);
  if (ret != 0) LOGE("getLuxScale_api fail ret=%d", ret);
  return ret == 0;
}

bool read_pressure(SensorCalibration& cal, int, int, Values* values) {
  const int ret = cal.cal_api->getBarOffset_api(values->v);
  if (ret != 0) LOGE("getBarDiff_api fail ret=%d", ret);  // deliberately the older name
  return ret == 0;
}

bool read_proximity(SensorCalibration& cal, int, int axis, Values* values) {
  // A failed probe counts as a part that calibrates itself.
  const int para = axis == 0 && cal.test_is_pshwcali_sensor() != 0 ? kSecondCrosstalk : axis;
  int offset = 0;
  const int ret = cal.cal_api->getPrxOffset_api(&offset, para, cal.test_is_pshwcali_sensor());
  if (ret != 0) LOGE("getPrxOffset_api fail ret=%d", ret);
  values->v[axis] = static_cast<float>(offset);
  return ret == 0;
}

bool read_sar(SensorCalibration& cal, int type, int, Values* values) {
  const int ret = cal.cal_api->getSAROffset_api(type, values->v);
  if (ret != 0) LOGE("getSAROffset_api fail type=%d, ret=%d", type, ret);
  return ret == 0;
}

bool read_tof(SensorCalibration& cal, int, int axis, Values* values) {
  int offset = 0;
  const int ret = cal.cal_api->getTofOffset_api(&offset, axis);
  if (ret != 0) LOGE("getTofOffset_api fail ret=%d", ret);
  values->v[0] = static_cast<float>(offset);  // whatever the axis: the other components read as 0.0, deliberately
  return ret == 0;
}

struct ReaderRow {
  int type;
  bool (*read)(SensorCalibration& cal, int type, int axis, Values* values);
};

constexpr ReaderRow kReaders[] = {
    {sensor_type::accelerometer, read_inertial},
    {sensor_type::magnetic_field, read_inertial},
    {sensor_type::gyroscope, read_inertial},
    {sensor_type::accelerometer_second, read_inertial},
    {sensor_type::gyroscope_second, read_inertial},
    {sensor_type::light, read_light},
    {sensor_type::lux_f, read_light},
    {sensor_type::lux_b, read_light},
    {sensor_type::lux_pri2, read_light},
    {sensor_type::lux_sec, read_light},
    {sensor_type::lux_sec_stream, read_light},
    {sensor_type::lux_pri2_stream, read_light},
    {sensor_type::lux_b_stream, read_light},
    {sensor_type::pressure, read_pressure},
    {sensor_type::proximity, read_proximity},
    {sensor_type::sar, read_sar},
    {sensor_type::sar_second, read_sar},
    {sensor_type::tof, read_tof},
};

const ReaderRow* find_reader(int type) {
  for (const ReaderRow& row : kReaders) {
    if (row.type == type) return &row;
  }
  return nullptr;
}

int read_channel_scales(SensorCalibration& cal, int type, float* values, int length) {
  char support[PROPERTY_VALUE_MAX];
  property_get("persist.vendor.goodix.cct_support", support, "");
  if (type == sensor_type::cct_f_stream && support[0] != '\0') {
    LOGE("goodix_cct_sensor do not getconfig \n");
    return 0;
  }
  LOGE("ams_cct_sensor getconfig \n");
  if (cal.cal_api == nullptr) return -1;
  const int ret = cal.cal_api->getLuxChannelScale_api(type, values, length);
  if (ret != 0) LOGE("getLuxChannelScale_api fail type=%d, ret=%d", type, ret);
  return ret;
}

int read_sar_values(SensorCalibration& cal, int type, float* values, int length) {
  if (cal.cal_api == nullptr) return -1;
  const int ret = cal.cal_api->getSAROffset_api(type, values, length);
  if (ret != 0) LOGE("getSAROffset_api fail type=%d, ret=%d", type, ret);
  return ret;
}

}  // namespace

double SensorCalibration::sensor_getconfig(int type, int axis) {
  LOGI("%s: enter type=%d", kName, type);
  if (axis < 0 || axis >= kAxes) {
    LOGE("sensor_getconfig invalid parameter axis = %d", axis);
    LOGE("getconfig fail type=%d, ret=%d", -10, axis);  // deliberately these two numbers
    return 0.0;
  }
  Values values;
  const ReaderRow* reader = find_reader(type);
  if (reader == nullptr) {
    LOGE("getconfig fail type=%d, ret=%d", type, axis);
  } else if (cal_api == nullptr || !reader->read(*this, type, axis, &values)) {
    return 0.0;
  }
  const double value = values.v[axis];
  LOGE("sensor_getconfig type=%d, offset[%d]=%f", type, axis, value);
  return value;
}

int SensorCalibration::sensor_getconfig(int type, float* values, int length) {
  LOGI("%s: sensor_getconfig enter type=%d, length=%d", kName, type, length);
  if (length > kMaxLength) {
    LOGE("sensor_getconfig fail length too long!");
    return -1;
  }
  switch (type) {
    case sensor_type::light_stream:
    case sensor_type::cct_f_stream:
    case sensor_type::cct_b_stream:
      return read_channel_scales(*this, type, values, length);
    case sensor_type::sar:
    case sensor_type::sar_second:
      return read_sar_values(*this, type, values, length);
    default:
      return 0;
  }
}

int SensorCalibration::collectData() {
  LOGE("qvx SensorCalibration::collectData \n");
  if (kest_service == nullptr) return -1;
  LOGE("log in sensor_collectData \n");
  const double answer = direct_request(kest_service, kCollectCommand, 0);
  LOGE("qvx collectData return is %f \n", answer);
  return to_int(answer);
}
