// What one event of a sensor brought.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>

namespace factory {

struct Sample {
  int64_t timestamp_ns = 0;                       // the event's own, on the phone's clock
  std::chrono::steady_clock::time_point arrival;  // on this process's clock
  std::array<float, 16> words{};
};

}  // namespace factory
