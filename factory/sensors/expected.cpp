#include "sensors/expected.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <numbers>

#include "sensors/sensor.h"

namespace factory {
namespace {

std::string told(const std::map<std::string, std::string>& world, const char* key) {
  const auto found = world.find(key);
  return found == world.end() ? "" : found->second;
}

std::vector<double> vector_of(const std::string& text) {
  double v[3] = {};
  if (sscanf(text.c_str(), "%lf,%lf,%lf", &v[0], &v[1], &v[2]) != 3) return {};
  return {v[0], v[1], v[2]};
}

// Direction of "up" in the phone's frame, of length 1.
std::vector<double> up_of(const std::string& text) {
  constexpr char kTilted[] = "tilted:";
  if (text == "flat") return {0, 0, 1};
  if (text == "face-down") return {0, 0, -1};
  if (text.rfind(kTilted, 0) == 0) {
    const double angle = std::strtod(text.c_str() + sizeof kTilted - 1, nullptr) * std::numbers::pi / 180;
    return {std::sin(angle), 0, std::cos(angle)};
  }
  std::vector<double> up = vector_of(text);
  const double length = up.empty() ? 0 : std::hypot(up[0], up[1], up[2]);
  if (!(length > 0)) return {};
  for (double& value : up) value /= length;
  return up;
}

std::vector<double> number_of(const std::string& text) {
  char* end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  return text.empty() || *end != '\0' ? std::vector<double>() : std::vector<double>{value};
}

}  // namespace

std::vector<double> told_by(const std::map<std::string, std::string>& world, int type) {
  const std::optional<Quantity> subject = subject_of(type);
  if (!subject) return {};
  if (subject->unit == "m/s^2") {
    std::vector<double> up = up_of(told(world, "up"));
    for (double& value : up) value *= kGravity;
    return as_mounted(type, up);
  }
  if (subject->unit == "rad/s") return as_mounted(type, vector_of(told(world, "rotation")));
  if (subject->unit == "hPa") return number_of(told(world, "pressure"));
  if (subject->unit == "lux") {
    const bool dark = told(world, "dark-box") == "on" || told(world, "lux") == "dark";
    return dark ? std::vector<double>{0} : number_of(told(world, "lux"));
  }
  if (subject->unit == "mm") {
    constexpr double kMillimetresPerCentimetre = 10;
    std::vector<double> out = number_of(told(world, "target"));
    for (double& value : out) value *= kMillimetresPerCentimetre;
    return out;
  }
  return {};
}

std::vector<double> expected_at(const std::map<std::string, std::string>& world, int type) {
  const std::vector<double> out = told_by(world, type);
  return out.empty() ? nominal(type) : out;
}

}  // namespace factory
