// What the events of a sensor carry: how many values, from which word on, in which unit.
#pragma once

#include <string>
#include <vector>

namespace factory {

struct Quantity {
  std::string unit;
  std::vector<std::string> axes;
  int first_word = 0;
  int usual_period_ms = 100;  // at which a person watches it
};

// A type that nothing is known of has one value without a unit.
Quantity quantity_of(int sensor_type);

}  // namespace factory
