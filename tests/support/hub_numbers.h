// All numbers of a hub's store, and how far they may differ from one good calibration to the next.
#pragma once

#include <json/json.h>

#include <cmath>
#include <map>
#include <string>

namespace test {

using Numbers = std::map<std::string, double>;  // by path: "Acc/offset/0"

inline void flatten(const Json::Value& value, const std::string& path, Numbers* out) {
  if (value.isNumeric()) (*out)[path] = value.asDouble();
  for (Json::ArrayIndex i = 0; value.isArray() && i < value.size(); ++i) {
    flatten(value[i], path + "/" + std::to_string(i), out);
  }
  if (!value.isObject()) return;
  for (const std::string& name : value.getMemberNames()) flatten(value[name], path + "/" + name, out);
}

// Of all sensors, as a phone tells its hub's store.
inline Numbers numbers_in(const Json::Value& hub_state) {
  Numbers out;
  for (const std::string& sensor : hub_state.getMemberNames()) {
    for (const std::string& name : hub_state[sensor].getMemberNames())
      flatten(hub_state[sensor][name]["value"], sensor + "/" + name, &out);
  }
  return out;
}

// How far two good calibrations may lie apart: twice what fresh samples may be off, or one rounding.
inline double wander(const std::string& path, double value) {
  const struct {
    const char* part;
    double limit;
  } rows[] = {{"Acc", 0.02}, {"Gyr", 0.00035}, {"Bar/", 0.12}, {"backlight", 1.01}, {"Prx/", 4}, {"Tof/", 2}};
  for (const auto& row : rows) {
    if (path.find(row.part) != std::string::npos) return row.limit + 0.003 * std::fabs(value);
  }
  return 0.01 * std::fabs(value);
}

}  // namespace test
