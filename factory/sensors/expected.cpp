// What a sensor should report on a fixture.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <numbers>
#include <string_view>

#include "files/numbers.h"
#include "sensors/sensor.h"

namespace factory {
namespace {

std::vector<double> times(double factor, std::vector<double> values) {
  for (double& value : values) value *= factor;
  return values;
}

std::vector<double> vector_of(const std::string& text) {
  const auto v = read_three(text);
  return v ? std::vector<double>(v->begin(), v->end()) : std::vector<double>();
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
  const auto value = read_number<double>(text);
  return value ? std::vector<double>{*value} : std::vector<double>();
}

// Values in the phone's frame as a sensor sees them that may be mounted upside down.
std::vector<double> as_mounted(int type, std::vector<double> values) {
  const Sensor* sensor = sensor_of(type);
  for (size_t i = 1; sensor != nullptr && sensor->upside_down && i < values.size(); ++i) values[i] = 0.0 - values[i];
  return values;
}

}  // namespace

bool may_notice(const Sensor& sensor, const std::string& setting) {
  constexpr std::string_view kBefore[] = {"lux", "cct", "dark-box", "target"};
  if (setting == "pressure") return sensor.unit == std::string_view("hPa");
  const bool before = std::find(std::begin(kBefore), std::end(kBefore), setting) != std::end(kBefore);
  return !before || !sensor.scatters;
}

std::vector<double> nominal(int type) {
  const Sensor* sensor = sensor_of(type);
  if (sensor == nullptr) return {};
  return as_mounted(type, {sensor->at_fixture.begin(), sensor->at_fixture.end()});
}

std::vector<double> told_by(const std::map<std::string, std::string>& world, int type) {
  const auto told = [&](const char* key) {
    const auto found = world.find(key);
    return found == world.end() ? std::string() : found->second;
  };
  const Sensor* subject = subject_of(type);
  const std::string_view unit = subject != nullptr ? subject->unit : "";
  if (unit == "m/s^2") return as_mounted(type, times(kGravity, up_of(told("up"))));
  if (unit == "rad/s") return as_mounted(type, vector_of(told("rotation")));
  if (unit == "hPa") return number_of(told("pressure"));
  constexpr double kMillimetresPerCentimetre = 10;
  if (unit == "mm") return times(kMillimetresPerCentimetre, number_of(told("target")));
  if (unit != "lux") return {};
  const bool dark = told("dark-box") == "on" || told("lux") == "dark";
  return dark ? std::vector<double>{0} : number_of(told("lux"));
}

std::vector<double> expected_at(const std::map<std::string, std::string>& world, int type) {
  const std::vector<double> out = told_by(world, type);
  return out.empty() ? nominal(type) : out;
}

}  // namespace factory
