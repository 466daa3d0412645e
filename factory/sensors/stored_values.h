// Every value that the command API can read or write, by name: what `sensorcal get` and `sensorcal set` offer.
#pragma once

#include <SensorCalibration.h>

#include <cfloat>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "sensors/sensor.h"

namespace factory {

// What a read gave: the API's result and the values.
struct Reading {
  int result = 0;
  std::vector<double> values;
};

struct StoredValue {
  const char* name;
  const char* what;      // one line
  unsigned in;           // Stored: the sensors that have it
  const char* own_unit;  // null: the sensor's
  // How many values; 0: as many as the caller asks for, 1 to 15.
  int count;
  // Null for a value that can only be written.
  Reading (*read)(SensorCalibrationAPI& api, int type, int count);
  // Null for a value that only the hub itself writes. Returns the API's result.
  int (*write)(SensorCalibrationAPI& api, int type, const std::vector<double>& values) = nullptr;
  bool whole_numbers = false;
  const char* file = nullptr;  // that holds it, from "/", where the process stands; null: the hub does
  // Beyond which it would be none that a calibration can find, or start from.
  double least = -FLT_MAX;
  double most = FLT_MAX;

  bool applies(int type) const;
  const char* unit(int type) const;
  // What is possible of a sensor: `least` to `most`, or what the sensor's row says of its offset.
  std::pair<double, double> range(int type) const;
  // Empty, or what the value at `index` has to be.
  std::string number_problem(int type, size_t index, double number) const;
};

std::span<const StoredValue> stored_values();

// The one of this name that a sensor type has; null without one.
const StoredValue* stored_value(int type, const std::string& name);

}  // namespace factory
