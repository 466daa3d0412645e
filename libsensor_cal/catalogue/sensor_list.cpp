#define LOG_TAG "libsensor_cal"
#include <SensorCalibration.h>

#include "base/log.h"
#include "base/record.h"

using ::android::frameworks::sensorservice::V1_0::Result;
using ::android::hardware::hidl_vec;
using ::android::hardware::sensors::V1_0::SensorInfo;

namespace {

constexpr int kNoDevice = -19;

// Which record a listed sensor is bound to. `replaces` says whether a later sensor takes the record over; a streaming
// variant always does, so it wins over its plain variant whatever their order in the list.
struct Binding {
  int type;
  Record record;
  bool replaces;
};

constexpr Binding kBindings[] = {
    {sensor_type::accelerometer, kRecordAcc, true},
    {sensor_type::gyroscope, kRecordGyro, true},
    {sensor_type::gyroscope_uncalibrated, kRecordGyroUncalibrated, true},
    {sensor_type::accelerometer_second, kRecordAcc2, true},
    {sensor_type::gyroscope_second, kRecordGyro2, true},
    {sensor_type::pressure, kRecordPressure, true},
    {sensor_type::proximity_stream, kRecordProximity, true},
    {sensor_type::light, kRecordLight, false},
    {sensor_type::light_stream, kRecordLight, true},
    {sensor_type::lux_f, kRecordLuxF, true},
    {sensor_type::lux_b, kRecordLuxB, false},
    {sensor_type::lux_b_stream, kRecordLuxB, true},
    {sensor_type::cct_f_stream, kRecordCctF, true},
    {sensor_type::cct_b_stream, kRecordCctB, true},
    {sensor_type::lux_sec, kRecordLuxSec, false},
    {sensor_type::lux_sec_stream, kRecordLuxSec, true},
    {sensor_type::lux_pri2, kRecordLuxPri2, false},
    {sensor_type::lux_pri2_stream, kRecordLuxPri2, true},
};

void bind(SensorCalibration& cal, const SensorInfo& sensor) {
  for (const Binding& binding : kBindings) {
    if (binding.type != static_cast<int>(sensor.type)) continue;
    _sensor_info& record = record_at(cal, binding.record);
    if (record.present != 0 && !binding.replaces) return;
    record.info = sensor;
    record.present = 1;
    LOGI("Sensor: %s found. Vendor: %s!", sensor.name.c_str(), sensor.vendor.c_str());
    return;
  }
}

}  // namespace

void SensorCalibration::get_all_sensors_info() {
  LOGI("enter %s", "get_all_sensors_info");
  if (sensor_manager == nullptr) {
    LOGE("%s: Failed to get manager point", "get_all_sensors_info");
    init_status = kNoDevice;
    return;
  }

  hidl_vec<SensorInfo> list;
  Result result = Result::UNKNOWN_ERROR;  // stands when the call never answers
  const auto sent = sensor_manager->getSensorList([&](const hidl_vec<SensorInfo>& sensors, Result answer) {
    list = sensors;
    result = answer;
  });
  if (!sent.isOk() || result != Result::OK) {
    LOGE("%s: Failed to get sensor list", "get_all_sensors_info");
    init_status = kNoDevice;
    return;
  }

  LOGI("get_all_sensors_info %d", static_cast<int>(list.size()));
  for (int i = 0; i < kRecords; ++i) record_at(*this, i).present = 0;
  for (const SensorInfo& sensor : list) bind(*this, sensor);
  LOGI("Sensor:xxxxxxxxxxx found. Vendor:");
  sensor_list = list;
  LOGI("Sensor:xxxxxxxxxxx %d  %d found. Vendor:", static_cast<int>(list.size()), static_cast<int>(sensor_list.size()));
}
