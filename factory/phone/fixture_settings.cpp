#include "phone/fixture_settings.h"

#include <stdio.h>
#include <stdlib.h>

#include <cctype>
#include <cmath>
#include <vector>

#include "files/numbers.h"
#include "files/units.h"
#include "files/words.h"

namespace factory {
namespace {

// A number with a unit, or the word that stands for one.
struct NumberSetting {
  const char* key;
  const char* unit;
  double low;
  double high;
  const char* word = "";
};
constexpr NumberSetting kNumbers[] = {
    {"vibration", "m/s^2", 0, 1000, "none"}, {"pressure", "hPa", 300, 1100},
    {"lux", "lux", 0, 200000, "dark"},       {"cct", "K", 1000, 20000},
    {"target", "cm", 0, 1000, "none"},       {"temperature", "degC", -60, 120},
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

bool is_rotation(const std::string& text) { return three_numbers(text); }
bool is_switch(const std::string& text) { return text == "on" || text == "off"; }

struct WordSetting {
  const char* key;
  const char* values;
  bool (*is_one)(const std::string& text);
};
constexpr WordSetting kWords[] = {
    {"up", "flat, face-down, tilted:DEGREES, or a direction x,y,z", is_direction},
    {"rotation", "x,y,z in rad/s", is_rotation},
    {"dark-box", "\"on\" or \"off\"", is_switch},
};

std::string values_of(const NumberSetting& row) {
  return std::string("a number of ") + row.unit + " from " + plain(row.low) + " to " + plain(row.high) +
         (*row.word == '\0' ? "" : std::string(", or \"") + row.word + "\"");
}

std::string read_number(const NumberSetting& row, const std::string& text, Bare bare, std::string* setting) {
  *setting = text;
  if (*row.word != '\0' && text == row.word) return "";
  plan::Amount amount;
  if (bare == Bare::refused || !is_number(text, &amount.value)) {
    const std::string wrong = plan::read_amount(text, row.unit, false, &amount);
    if (!wrong.empty()) return (bare == Bare::taken ? "" : wrong + "; ") + "give " + values_of(row);
    char number[40];
    snprintf(number, sizeof number, "%.9g", amount.value);
    *setting = number;
  }
  return amount.value >= row.low && amount.value <= row.high ? "" : "give " + values_of(row);
}

}  // namespace

std::string read_setting(const std::string& key, const std::string& text, Bare bare, std::string* setting) {
  *setting = text;
  std::vector<std::string> known;
  for (const WordSetting& row : kWords) {
    if (key == row.key) return row.is_one(text) ? "" : std::string("give ") + row.values;
    known.emplace_back(row.key);
  }
  for (const NumberSetting& row : kNumbers) {
    if (key == row.key) return read_number(row, text, bare, setting);
    known.emplace_back(row.key);
  }
  return "the fixture has no setting '" + key + "'" + or_nearest(key, known);
}

std::string settings_help() {
  std::string out;
  for (const WordSetting& row : kWords) out += std::string(row.key) + ":  " + row.values + "\n";
  for (const NumberSetting& row : kNumbers) out += std::string(row.key) + ":  " + values_of(row) + "\n";
  return out;
}

}  // namespace factory
