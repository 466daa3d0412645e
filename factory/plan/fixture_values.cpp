#include "plan/fixture_values.h"

#include <cstdio>

#include "calibration.h"
#include "plan/units.h"

namespace factory::plan {
namespace {

// A number with a unit, or the word that stands for one.
struct NumberRow {
  const char* key;
  const char* unit;
  double low;
  double high;
  const char* word;
};
constexpr NumberRow kNumbers[] = {
    {"vibration", "m/s^2", 0, 1000, "none"}, {"pressure", "hPa", 300, 1100, ""}, {"lux", "lux", 0, 200000, "dark"},
    {"cct", "K", 1000, 20000, ""},           {"target", "cm", 0, 1000, "none"},  {"temperature", "degC", -60, 120, ""},
};

bool three_numbers(const std::string& text) {
  double v[3];
  int end = 0;
  return sscanf(text.c_str(), "%lf,%lf,%lf%n", &v[0], &v[1], &v[2], &end) == 3 &&
         static_cast<size_t>(end) == text.size();
}

bool is_direction(const std::string& text) {
  double degrees = 0;
  int end = 0;
  const bool tilted =
      sscanf(text.c_str(), "tilted:%lf%n", &degrees, &end) == 1 && static_cast<size_t>(end) == text.size();
  return text == "flat" || text == "face-down" || tilted || three_numbers(text);
}

std::string read_number(const NumberRow& row, const std::string& text, std::string* setting) {
  if (*row.word != '\0' && text == row.word) {
    *setting = text;
    return "";
  }
  Amount amount;
  std::string wrong = read_amount(text, row.unit, false, &amount);
  if (wrong.empty() && !(amount.value >= row.low && amount.value <= row.high)) {
    wrong = "must lie between " + plain(row.low) + " and " + plain(row.high) + " " + row.unit;
  }
  if (!wrong.empty()) return wrong + (*row.word == '\0' ? "" : std::string(", or \"") + row.word + "\"");
  char number[40];
  snprintf(number, sizeof number, "%.9g", amount.value);
  *setting = number;
  return "";
}

}  // namespace

std::string read_fixture_value(const std::string& key, const std::string& text, std::string* setting) {
  *setting = text;
  if (key == "up") return is_direction(text) ? "" : "give flat, face-down, tilted:DEGREES, or a direction x,y,z";
  if (key == "rotation") return three_numbers(text) ? "" : "give x,y,z in rad/s";
  if (key == "dark-box") return text == "on" || text == "off" ? "" : "give \"on\" or \"off\"";
  std::string known = "up, rotation, dark-box";
  for (const NumberRow& row : kNumbers) {
    if (key == row.key) return read_number(row, text, setting);
    known += std::string(", ") + row.key;
  }
  return "the fixture has no such setting; it has " + known;
}

}  // namespace factory::plan
