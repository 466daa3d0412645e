// The branches of the continuous calibration flow.
#pragma once

#include <SensorCalibration.h>

#include "engine/run.h"

// Reads `count` values that the hub holds into an array that the event side uses: `read` fills a copy, which then takes
// the array's place. Returns what `read` returned.
template <typename Read>
int read_into_record(SensorCalibration& cal, float* array, int count, Read read) {
  float held[kAxes];
  for (int i = 0; i < kAxes; ++i) held[i] = array[i];
  const int result = read(held);
  const EventHold hold(cal);
  for (int i = 0; i < count; ++i) array[i] = held[i];
  return result;
}

// Colour and light streams. `param` -1 collects golden data, any other value calibrates the channel scales. With
// `to_file` the scales also go to the light sensor's JSON file where the display algorithm reads it.
int calibrate_stream(SensorCalibration& cal, int type, int param, _sensor_info& record, bool to_file);

// The colour sensor whose calibration may run in the hub.
int calibrate_colour_f(SensorCalibration& cal, int type, int param, _sensor_info& record);
