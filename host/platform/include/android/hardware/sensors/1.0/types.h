// Stand-in for the generated types of android.hardware.sensors@1.0. As there, no member has a first value: what nobody
// writes holds whatever was in memory.
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
  SIGNIFICANT_MOTION = 17,
  STEP_DETECTOR = 18,
  STEP_COUNTER = 19,
  GEOMAGNETIC_ROTATION_VECTOR = 20,
  HEART_RATE = 21,
  TILT_DETECTOR = 22,
  WAKE_GESTURE = 23,
  GLANCE_GESTURE = 24,
  PICK_UP_GESTURE = 25,
  WRIST_TILT_GESTURE = 26,
  DEVICE_ORIENTATION = 27,
  POSE_6DOF = 28,
  STATIONARY_DETECT = 29,
  MOTION_DETECT = 30,
  HEART_BEAT = 31,
  DYNAMIC_SENSOR_META = 32,
  ADDITIONAL_INFO = 33,
  LOW_LATENCY_OFFBODY_DETECT = 34,
  ACCELEROMETER_UNCALIBRATED = 35,
  DEVICE_PRIVATE_BASE = 65536,
};

enum class SensorFlagShift : uint8_t {
  REPORTING_MODE = 1,
  DATA_INJECTION = 4,
  DYNAMIC_SENSOR = 5,
  ADDITIONAL_INFO = 6,
  DIRECT_REPORT = 7,
  DIRECT_CHANNEL = 10,
};

enum class SensorFlagBits : uint32_t {
  WAKE_UP = 1u,
  CONTINUOUS_MODE = 0u,
  ON_CHANGE_MODE = 2u,
  ONE_SHOT_MODE = 4u,
  SPECIAL_REPORTING_MODE = 6u,
  DATA_INJECTION = 16u,
  DYNAMIC_SENSOR = 32u,
  ADDITIONAL_INFO = 64u,
  DIRECT_CHANNEL_ASHMEM = 1024u,
  DIRECT_CHANNEL_GRALLOC = 2048u,
  MASK_REPORTING_MODE = 14u,
  MASK_DIRECT_REPORT = 896u,
  MASK_DIRECT_CHANNEL = 3072u,
};

struct SensorInfo final {
  int32_t sensorHandle;
  hidl_string name;
  hidl_string vendor;
  int32_t version;
  SensorType type;
  hidl_string typeAsString;
  float maxRange;
  float resolution;
  float power;
  int32_t minDelay;
  uint32_t fifoReservedEventCount;
  uint32_t fifoMaxEventCount;
  hidl_string requiredPermission;
  int32_t maxDelay;
  uint32_t flags;  // of SensorFlagBits
};

enum class MetaDataEventType : uint32_t {
  META_DATA_FLUSH_COMPLETE = 1u,
};

enum class SensorStatus : int8_t {
  NO_CONTACT = -1,
  UNRELIABLE = 0,
  ACCURACY_LOW = 1,
  ACCURACY_MEDIUM = 2,
  ACCURACY_HIGH = 3,
};

struct Vec3 final {
  float x;
  float y;
  float z;
  SensorStatus status;
};

struct Vec4 final {
  float x;
  float y;
  float z;
  float w;
};

struct Uncal final {
  float x;
  float y;
  float z;
  float x_bias;
  float y_bias;
  float z_bias;
};

struct HeartRate final {
  float bpm;
  SensorStatus status;
};

struct MetaData final {
  MetaDataEventType what;
};

struct DynamicSensorInfo final {
  bool connected;
  int32_t sensorHandle;
  hidl_array<uint8_t, 16> uuid;
};

enum class AdditionalInfoType : uint32_t {
  AINFO_BEGIN = 0u,
  AINFO_END = 1u,
  AINFO_UNTRACKED_DELAY = 0x10000u,
  AINFO_INTERNAL_TEMPERATURE = 0x10001u,
  AINFO_VEC3_CALIBRATION = 0x10002u,
  AINFO_SENSOR_PLACEMENT = 0x10003u,
  AINFO_SAMPLING = 0x10004u,
  AINFO_CHANNEL_NOISE = 0x20000u,
  AINFO_CHANNEL_SAMPLER = 0x20001u,
  AINFO_CHANNEL_FILTER = 0x20002u,
  AINFO_CHANNEL_LINEAR_TRANSFORM = 0x20003u,
  AINFO_CHANNEL_NONLINEAR_MAP = 0x20004u,
  AINFO_CHANNEL_RESAMPLER = 0x20005u,
  AINFO_LOCAL_GEOMAGNETIC_FIELD = 0x30000u,
  AINFO_LOCAL_GRAVITY = 0x30001u,
  AINFO_DOCK_STATE = 0x40000u,
  AINFO_HIGH_PERFORMANCE_MODE = 0x40001u,
  AINFO_MAGNETIC_FIELD_CALIBRATION = 0x40002u,
  AINFO_CUSTOM_START = 0x10000000u,
  AINFO_DEBUGGING_START = 0x40000000u,
};

struct AdditionalInfo final {
  union U final {
    hidl_array<int32_t, 14> data_int32;
    hidl_array<float, 14> data_float;
  };

  AdditionalInfoType type;
  int32_t serial;
  U u;
};

union EventPayload final {
  Vec3 vec3;
  Vec4 vec4;
  Uncal uncal;
  MetaData meta;
  float scalar;
  uint64_t stepCount;
  HeartRate heartRate;
  hidl_array<float, 15> pose6DOF;
  DynamicSensorInfo dynamic;
  AdditionalInfo additional;
  hidl_array<float, 16> data;
};

struct Event final {
  int64_t timestamp;
  int32_t sensorHandle;
  SensorType sensorType;
  EventPayload u;
};

enum class RateLevel : int32_t {
  STOP = 0,
  NORMAL = 1,
  FAST = 2,
  VERY_FAST = 3,
};

// Scoped enums do not become numbers by themselves; these give one, as the compiler's own operators do.
constexpr uint32_t operator|(SensorFlagBits a, SensorFlagBits b) {
  return static_cast<uint32_t>(a) | static_cast<uint32_t>(b);
}
constexpr uint32_t operator|(uint32_t a, SensorFlagBits b) { return a | static_cast<uint32_t>(b); }
constexpr uint32_t operator|(SensorFlagBits a, uint32_t b) { return static_cast<uint32_t>(a) | b; }
constexpr uint32_t operator&(SensorFlagBits a, SensorFlagBits b) {
  return static_cast<uint32_t>(a) & static_cast<uint32_t>(b);
}
constexpr uint32_t operator&(uint32_t a, SensorFlagBits b) { return a & static_cast<uint32_t>(b); }
constexpr uint32_t operator&(SensorFlagBits a, uint32_t b) { return static_cast<uint32_t>(a) & b; }

}  // namespace V1_0
}  // namespace sensors
}  // namespace hardware
}  // namespace android
