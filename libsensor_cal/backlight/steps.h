// Steps that the calibrations at a lit panel share.
#pragma once

#include "engine/run.h"

inline constexpr int kHighLevel = 13;  // codes of the hub's commands
inline constexpr int kLowLevel = 14;
inline constexpr int kLightChannels = 5;

// The outcome of a step at the panel: a number to go on with, or the result to leave the flow with.
struct Step {
  bool leave;
  int value;
};

// The panel's maximum brightness.
Step read_maximum(SensorCalibration& cal);

// Sets a brightness, with a log line of its own when it is announced, and reads back what the panel took. A panel that
// took another value makes the flow leave with 0: deliberately no failure.
Step set_and_verify(SensorCalibration& cal, int level, bool announced);

// Three quarters of the maximum.
int low_brightness(int maximum);

// The light record that the sensor type runs on; null for a type that has none.
_sensor_info* panel_record(SensorCalibration& cal, int type);

// Rounds a half up, for x of 0 and more.
float half_up(float x);

struct Property {
  char text[92];
  float value;  // 0 when the text is empty or no number
};
Property read_property(const char* name);

// Publishes the high run's finding for the low run. Returns what the property then holds, for the caller to log.
Property publish(const char* name, float finding);

// The result of a push to the hub, logged where it failed: as the light command's, also for colours, deliberately.
int logged_push(int ret);
