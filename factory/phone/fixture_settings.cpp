#include "phone/fixture_settings.h"

#include <cmath>
#include <string_view>
#include <vector>

#include "files/numbers.h"
#include "files/units.h"
#include "files/words.h"

namespace factory {
namespace {

bool is_number(std::string_view text) { return std::isfinite(read_number<double>(text).value_or(NAN)); }

bool three_numbers(const std::string& text) { return read_three(text).has_value(); }

bool is_direction(const std::string& text) {
  constexpr std::string_view kTilted = "tilted:";
  return text == "flat" || text == "face-down" || three_numbers(text) ||
         (text.starts_with(kTilted) && is_number(text.substr(kTilted.size())));
}

bool is_switch(const std::string& text) { return text == "on" || text == "off"; }

struct Setting {
  const char* key;
  const char* values;                       // which there are; of a number its unit
  bool (*is_one)(const std::string& text);  // null: a number
  double low = 0;
  double high = 0;
  const char* word = "";  // that stands for a number
};
constexpr Setting kSettings[] = {
    {"up", "flat, face-down, tilted:DEGREES, or a direction x,y,z", is_direction},
    {"rotation", "x,y,z in rad/s", three_numbers},
    {"dark-box", "\"on\" or \"off\"", is_switch},
    {"vibration", "m/s^2", nullptr, 0, 1000, "none"},
    {"pressure", "hPa", nullptr, 300, 1100},
    {"lux", "lux", nullptr, 0, 200000, "dark"},
    {"cct", "K", nullptr, 1000, 20000},
    {"target", "cm", nullptr, 0, 1000, "none"},
    {"temperature", "degC", nullptr, -60, 120},
};

std::string values_of(const Setting& row) {
  if (row.is_one != nullptr) return row.values;
  return std::string("a number of ") + row.values + " from " + plain(row.low) + " to " + plain(row.high) +
         (*row.word == '\0' ? "" : std::string(", or \"") + row.word + "\"");
}

std::string read_quantity(const Setting& row, const std::string& text, Bare bare, std::string* setting) {
  if (*row.word != '\0' && text == row.word) return "";
  plan::Amount amount;
  if (bare == Bare::taken && is_number(text)) {
    amount.value = *read_number<double>(text);
  } else {
    const std::string wrong = plan::read_amount(text, row.values, false, &amount);
    if (!wrong.empty()) return (bare == Bare::taken ? "" : wrong + "; ") + "give " + values_of(row);
    *setting = significant(amount.value, 9);
  }
  return amount.value >= row.low && amount.value <= row.high ? "" : "give " + values_of(row);
}

// The first row whose value fits; what "%" stands for in the value, to its end, it stands for in the words.
struct Instruction {
  const char* key;
  const char* value;
  const char* words;
};
constexpr Instruction kInstructions[] = {
    {"up", "flat", "Lay the phone flat, screen up"},
    {"up", "face-down", "Lay the phone flat, screen down"},
    {"up", "tilted:%", "Lay the phone screen up and raise its right edge by % degrees"},
    {"up", "%", "Hold the phone so that up is %, in the phone's own x (right), y (top) and z (out of the screen)"},
    {"rotation", "0,0,0", "Do not turn the phone"},
    {"rotation", "%", "Turn the phone on the turntable at % rad/s about its x, y and z"},
    {"vibration", "none", "Leave the phone still, with nothing that shakes the table"},
    {"vibration", "0", "Leave the phone still, with nothing that shakes the table"},
    {"vibration", "%", "Shake the phone with % m/s^2 (rms)"},
    {"lux", "dark", "Switch the lamp off, so that no light reaches the sensors"},
    {"lux", "%", "Set the factory lamp to % lux"},
    {"cct", "%", "Set the colour of the lamp to % K"},
    {"dark-box", "on", "Put the phone into the dark box and close it"},
    {"dark-box", "off", "Take the phone out of the dark box"},
    {"target", "none", "Take everything away from before the proximity sensor"},
    {"target", "%", "Put the target % cm before the proximity sensor"},
    {"pressure", "%", "Bring the pressure to % hPa by the reference barometer"},
    {"temperature", "%", "Bring the phone to % degC"},
};

}  // namespace

std::string read_setting(const std::string& key, const std::string& text, Bare bare, std::string* setting) {
  *setting = text;
  std::vector<std::string> known;
  for (const Setting& row : kSettings) {
    if (key != row.key) {
      known.emplace_back(row.key);
    } else if (row.is_one == nullptr) {
      return read_quantity(row, text, bare, setting);
    } else {
      return row.is_one(text) ? "" : "give " + values_of(row);
    }
  }
  return "the fixture has no setting '" + key + "'" + or_nearest(key, known);
}

std::string settings_help() {
  std::string out;
  for (const Setting& row : kSettings) out += std::string(row.key) + ":  " + values_of(row) + "\n";
  return out;
}

std::string instruction(const std::string& key, const std::string& value) {
  for (const auto& [of, pattern, text] : kInstructions) {
    const std::string_view before = std::string_view(pattern).substr(0, std::string_view(pattern).find('%'));
    const bool open = pattern[before.size()] == '%';
    if (key != of || (open ? !value.starts_with(before) : value != pattern)) continue;
    std::string words = text;
    if (open) words.replace(words.find('%'), 1, value.substr(before.size()));
    return words;
  }
  return "Set " + key + " to " + value;
}

}  // namespace factory
