// Sensors as a manager lists them.
#pragma once

#include <android/frameworks/sensorservice/1.0/ISensorManager.h>

#include <string>
#include <vector>

namespace test {

using ::android::hardware::sensors::V1_0::SensorInfo;
using ::android::hardware::sensors::V1_0::SensorType;

inline SensorInfo sensor(int type, int handle, const std::string& name, const std::string& vendor = "maker") {
  SensorInfo info{};
  info.type = static_cast<SensorType>(type);
  info.sensorHandle = handle;
  info.name = name;
  info.vendor = vendor;
  return info;
}

// One of every record, with the handle 100 + record number, and the proximity and time-of-flight ones.
inline std::vector<SensorInfo> all_records() {
  return {
      sensor(1, 100, "acc"),           sensor(4, 101, "gyro"),
      sensor(16, 103, "gyro raw"),     sensor(268369921, 104, "acc2"),
      sensor(268369924, 107, "gyro2"), sensor(33171005, 108, "prox stream"),
      sensor(5, 109, "light"),         sensor(33171054, 110, "lux f"),
      sensor(33171055, 111, "lux b"),  sensor(33171089, 112, "cct f"),
      sensor(33171057, 113, "cct b"),  sensor(33171081, 114, "lux sec"),
      sensor(33171080, 115, "pri2"),   sensor(6, 117, "bar"),
      sensor(8, 120, "prox"),          sensor(33171040, 121, "vl53l0_tof"),
  };
}

// The types that deliver, and their records.
inline constexpr std::pair<int, int> kDelivering[] = {
    {1, 0},         {4, 1},         {16, 3},        {268369921, 4}, {268369924, 7}, {6, 17},
    {33171005, 8},  {33171057, 13}, {33171089, 12}, {5, 9},         {33171007, 9},  {33171054, 10},
    {33171055, 11}, {33171085, 11}, {33171081, 14}, {33171082, 14}, {33171080, 15}, {33171084, 15},
};

}  // namespace test
