#include "phone/fixture_settings.h"

#include <stdio.h>
#include <stdlib.h>

#include <cctype>
#include <cmath>

namespace factory {
namespace {

constexpr NumberSetting kNumbers[] = {
    {"vibration", "m/s^2", 0, 1000, "none"}, {"pressure", "hPa", 300, 1100, ""}, {"lux", "lux", 0, 200000, "dark"},
    {"cct", "K", 1000, 20000, ""},           {"target", "cm", 0, 1000, "none"},  {"temperature", "degC", -60, 120, ""},
};

bool is_number(const std::string& text, double* number) {
  if (text.empty() || isspace(static_cast<unsigned char>(text[0])) != 0) return false;
  char* end = nullptr;
  *number = strtod(text.c_str(), &end);
  return *end == '\0' && std::isfinite(*number);
}

bool three_numbers(const std::string& text) {
  double v[3];
  int end = 0;
  return sscanf(text.c_str(), "%lf,%lf,%lf%n", &v[0], &v[1], &v[2], &end) == 3 &&
         static_cast<size_t>(end) == text.size() && std::isfinite(v[0]) && std::isfinite(v[1]) && std::isfinite(v[2]);
}

bool is_direction(const std::string& text) {
  constexpr char kTilted[] = "tilted:";
  constexpr size_t kLength = sizeof kTilted - 1;
  double degrees = 0;
  return text == "flat" || text == "face-down" || three_numbers(text) ||
         (text.compare(0, kLength, kTilted) == 0 && is_number(text.substr(kLength), &degrees));
}

std::string shortest(double number) {
  char text[40];
  snprintf(text, sizeof text, "%g", number);
  return text;
}

std::string number_problem(const NumberSetting& setting, const std::string& value) {
  double number = 0;
  if (*setting.word != '\0' && value == setting.word) return "";
  if (!is_number(value, &number)) return "give a number of " + std::string(setting.unit) + or_word(setting);
  return number >= setting.low && number <= setting.high ? "" : out_of_limits(setting) + or_word(setting);
}

}  // namespace

const NumberSetting* find_number_setting(const std::string& key) {
  for (const NumberSetting& row : kNumbers) {
    if (key == row.key) return &row;
  }
  return nullptr;
}

std::string setting_problem(const std::string& key, const std::string& value) {
  if (key == "up") return is_direction(value) ? "" : "give flat, face-down, tilted:DEGREES, or a direction x,y,z";
  if (key == "rotation") return three_numbers(value) ? "" : "give x,y,z in rad/s";
  if (key == "dark-box") return value == "on" || value == "off" ? "" : "give \"on\" or \"off\"";
  if (const NumberSetting* setting = find_number_setting(key)) return number_problem(*setting, value);
  std::string known = "up, rotation, dark-box";
  for (const NumberSetting& row : kNumbers) known += std::string(", ") + row.key;
  return "the fixture has no such setting; it has " + known;
}

std::string out_of_limits(const NumberSetting& setting) {
  return "must lie between " + shortest(setting.low) + " and " + shortest(setting.high) + " " + setting.unit;
}

std::string or_word(const NumberSetting& setting) {
  return *setting.word == '\0' ? "" : std::string(", or \"") + setting.word + "\"";
}

}  // namespace factory
