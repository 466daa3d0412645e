#define LOG_TAG "libsensor_cal"
#include <SensorCalibration.h>
#include <errno.h>
#include <string.h>

#include <string>

#include "base/log.h"

using ::android::frameworks::sensorservice::V1_0::ISensorManager;
using ::android::frameworks::sensorservice::V1_0::Result;
using ::android::hardware::sensors::V1_0::SensorInfo;
using ::android::hardware::sensors::V1_0::SensorType;

namespace {

constexpr const char* kTofChips[] = {"vl53l0_tof", "vl53l3_tof"};
constexpr const char* kHardwareCrosstalkChips[] = {"tmd2725", "tmd2620", "tmd3702", "tcs3701"};
constexpr const char* kRgbChips[] = {"BH1745 BH1745 ALS DEVICE"};

// Whether the name begins with an entry of the list.
template <size_t N>
bool on_list(const char* const (&chips)[N], const char* name) {
  for (const char* chip : chips) {
    if (strncmp(name, chip, strlen(chip)) == 0) return true;
  }
  return false;
}

// Asks for the default sensor of a type and hands it over. 0, -ENOENT without a manager, -ESRCH without such a sensor.
int default_sensor(const ::android::sp<ISensorManager>& manager, const char* probe, int type, const char* not_found,
                   SensorInfo* sensor) {
  if (manager == nullptr) {
    LOGE("%s: Could not get ISensorManager::getService!", probe);
    return -ENOENT;
  }
  Result result = Result::UNKNOWN_ERROR;  // stands when the call never answers
  const auto sent =
      manager->getDefaultSensor(static_cast<SensorType>(type), [&](const SensorInfo& found, Result answer) {
        *sensor = found;
        result = answer;
      });
  if (!sent.isOk() || result != Result::OK) {
    LOGE("%s", not_found);
    return -ESRCH;
  }
  return 0;
}

}  // namespace

bool SensorCalibration::sensor_lookup_list_check(char const* name, int type) {
  if (type == sensor_type::light) {
    LOGE("%s checking for rgb sensor!", name);
    const bool found = on_list(kRgbChips, name);
    if (found) {
      LOGE("%s sensor found in rgb sensor list!", name);
    } else {
      LOGE("%s sensor not rgb sensor!", name);
    }
    return found;
  }
  if (type == sensor_type::proximity) {
    LOGE("%s checking for hw calibration!", name);
    const bool found = on_list(kHardwareCrosstalkChips, name);
    if (found) {
      LOGE("%s sensor found in sensorlist using HW calibration methods!", name);
    } else {
      LOGE("%s sensor not supporting HW calibration!", name);
    }
    return found;
  }
  return false;
}

bool SensorCalibration::tof_sensor_lookup_list_check(char const* name, int type) {
  if (type != sensor_type::tof && type != sensor_type::proximity) return false;
  LOGI("%s checking for tof calibration sensors!", name);
  const bool found = on_list(kTofChips, name);
  if (found) {
    LOGE("%s sensor found in sensorlist using TOF calibration methods!", name);
  } else {
    LOGE("%s sensor not supporting tof calibration!", name);
  }
  return found;
}

int SensorCalibration::test_is_rgb_sensor() {
  SensorInfo sensor;
  const int result =
      default_sensor(sensor_manager, "test_is_rgb_sensor", sensor_type::light, "Light Sensor not found!", &sensor);
  if (result != 0) return result;
  LOGI("sensor_lookup_list_check Sensor: %s found. Vendor: %s!", sensor.name.c_str(), sensor.vendor.c_str());
  return sensor_lookup_list_check(sensor.name.c_str(), sensor_type::light);
}

int SensorCalibration::test_is_ps_tof_sensor() {
  SensorInfo sensor;
  const int result = default_sensor(sensor_manager, "test_is_ps_tof_sensor", sensor_type::proximity,
                                    "Proximity Sensor not found!", &sensor);
  if (result != 0) return result;
  LOGI("test_is_ps_tof_sensor Sensor: %s found. Vendor: %s!", sensor.name.c_str(), sensor.vendor.c_str());
  return tof_sensor_lookup_list_check(sensor.name.c_str(), sensor_type::proximity);
}

int SensorCalibration::test_is_tof_sensor() {
  SensorInfo sensor;
  const int result =
      default_sensor(sensor_manager, "test_is_tof_sensor", sensor_type::tof, "Proximity Sensor not found!", &sensor);
  if (result != 0) return result;
  LOGI("test_is_tof_sensor Sensor: %s found. Vendor: %s!", sensor.name.c_str(), sensor.vendor.c_str());
  return tof_sensor_lookup_list_check(sensor.name.c_str(), sensor_type::tof);
}

int SensorCalibration::test_is_pshwcali_sensor() {
  SensorInfo sensor;
  const int result = default_sensor(sensor_manager, "test_is_pshwcali_sensor", sensor_type::proximity,
                                    "Proximity Sensor not found!", &sensor);
  if (result != 0) return result;
  // Deliberately the text of test_is_tof_sensor.
  LOGI("test_is_tof_sensor Sensor: %s found. Vendor: %s!", sensor.name.c_str(), sensor.vendor.c_str());
  return sensor_lookup_list_check(sensor.name.c_str(), sensor_type::proximity);
}
