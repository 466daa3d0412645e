// What one event of a sensor brought.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>

#include "sensors/sensor.h"

namespace factory {

struct Sample {
  int64_t timestamp_ns = 0;                       // the event's own, on the phone's clock
  std::chrono::steady_clock::time_point arrival;  // on this process's clock
  std::array<float, 16> words{};
};

inline double value_of(const Sample& sample, const Quantity& quantity, size_t axis) {
  return static_cast<double>(sample.words[static_cast<size_t>(quantity.first_word) + axis]);
}

}  // namespace factory
