// The library's 18 sensor records.
#pragma once

#include <SensorCalibration.h>

// Records by role, as indexes into motion_info and env_info taken as one sequence. Records 2, 5, 6 and 16 are reserved.
enum Record : int {
  kRecordAcc = 0,
  kRecordGyro = 1,
  kRecordGyroUncalibrated = 3,
  kRecordAcc2 = 4,
  kRecordGyro2 = 7,
  kRecordProximity = 8,
  kRecordLight = 9,
  kRecordLuxF = 10,
  kRecordLuxB = 11,
  kRecordCctF = 12,
  kRecordCctB = 13,
  kRecordLuxSec = 14,
  kRecordLuxPri2 = 15,
  kRecordPressure = 17,
};
inline constexpr int kRecords = 18;
inline constexpr int kAxes = 10;

// The one way to address the two record arrays as one sequence.
inline _sensor_info& record_at(SensorCalibration& cal, int index) {
  constexpr int kMotion = 8;
  return index < kMotion ? cal.motion_info[index] : cal.env_info[index - kMotion];
}
