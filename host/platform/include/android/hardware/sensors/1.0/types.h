// Stand-in for the generated types of android.hardware.sensors@1.0.
#pragma once

#include <stdint.h>

#include <hidl/HidlSupport.h>

namespace android {
namespace hardware {
namespace sensors {
namespace V1_0 {

enum class SensorType : int32_t {
  META_DATA = 0,
  ACCELEROMETER = 1,
  MAGNETIC_FIELD = 2,
  ORIENTATION = 3,
  GYROSCOPE = 4,
  LIGHT = 5,
  PRESSURE = 6,
  TEMPERATURE = 7,
  PROXIMITY = 8,
  GRAVITY = 9,
  LINEAR_ACCELERATION = 10,
  ROTATION_VECTOR = 11,
  RELATIVE_HUMIDITY = 12,
  AMBIENT_TEMPERATURE = 13,
  MAGNETIC_FIELD_UNCALIBRATED = 14,
  GAME_ROTATION_VECTOR = 15,
  GYROSCOPE_UNCALIBRATED = 16,
  ADDITIONAL_INFO = 33,
  DEVICE_PRIVATE_BASE = 65536,
};

enum SensorFlagBits : uint32_t {
  WAKE_UP = 1u,
  CONTINUOUS_MODE = 0u,
  ON_CHANGE_MODE = 2u,
};

enum class AdditionalInfoType : uint32_t {
  AINFO_BEGIN = 0,
  AINFO_END = 1,
};

struct SensorInfo final {
  int32_t sensorHandle = 0;
  hidl_string name;
  hidl_string vendor;
  int32_t version = 0;
  SensorType type = SensorType::META_DATA;
  hidl_string typeAsString;
  float maxRange = 0;
  float resolution = 0;
  float power = 0;
  int32_t minDelay = 0;
  uint32_t fifoReservedEventCount = 0;
  uint32_t fifoMaxEventCount = 0;
  hidl_string requiredPermission;
  int32_t maxDelay = 0;
  uint32_t flags = 0;
};

struct AdditionalInfo final {
  AdditionalInfoType type;
  int32_t serial;
  hidl_array<int32_t, 14> data_int32;
};

union EventPayload final {
  float scalar;
  AdditionalInfo additional;
  hidl_array<float, 16> data;
};

struct Event final {
  int64_t timestamp;
  int32_t sensorHandle;
  SensorType sensorType;
  EventPayload u;
};

}  // namespace V1_0
}  // namespace sensors
}  // namespace hardware
}  // namespace android
