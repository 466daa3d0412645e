#include "simulator/station_error.h"

#include <cmath>

#include "phone/core/random.h"

namespace factory {
namespace {

// Deviations from station to station, as careful setting up leaves them.
constexpr double kLevelRad = 0.0005;  // 5 mm/s^2
constexpr double kPressureHpa = 0.03;
constexpr double kLux = 0.005;  // of the value, and so are the following
constexpr double kColour = 0.003;
constexpr double kDistance = 0.01;
constexpr double kTemperatureC = 0.5;

}  // namespace

phone::World as_built(const phone::World& meant, uint64_t station_seed) {
  const phone::Draws draws = phone::Draws(station_seed).of("station");
  const auto scaled = [&](float value, double deviation, uint64_t which) {
    return static_cast<float>(value * (1 + deviation * draws.normal(which)));
  };
  phone::World out = meant;
  double length = 0;
  for (uint64_t i = 0; i < 3; ++i) {
    out.up[i] += static_cast<float>(kLevelRad * draws.normal(i));
    length += static_cast<double>(out.up[i]) * out.up[i];
  }
  for (float& up : out.up) up = static_cast<float>(up / std::sqrt(length));
  out.pressure_hpa += static_cast<float>(kPressureHpa * draws.normal(3));
  out.lux = scaled(meant.lux, kLux, 4);
  out.colour_temperature_k = scaled(meant.colour_temperature_k, kColour, 5);
  out.target_cm = scaled(meant.target_cm, kDistance, 6);
  out.temperature_c += static_cast<float>(kTemperatureC * draws.normal(7));
  return out;
}

}  // namespace factory
