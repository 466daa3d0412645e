#include "phone/fixture_words.h"

namespace factory {
namespace {

// The first row whose value fits; an empty value fits any, and "%" stands for it.
struct Row {
  const char* key;
  const char* value;
  const char* words;
};
constexpr Row kRows[] = {
    {"up", "flat", "Lay the phone flat, screen up"},
    {"up", "face-down", "Lay the phone flat, screen down"},
    {"up", "", "Hold the phone so that up is %, in the phone's own x (right), y (top) and z (out of the screen)"},
    {"rotation", "0,0,0", "Do not turn the phone"},
    {"rotation", "", "Turn the phone on the turntable at % rad/s about its x, y and z"},
    {"vibration", "none", "Leave the phone still, with nothing that shakes the table"},
    {"vibration", "0", "Leave the phone still, with nothing that shakes the table"},
    {"vibration", "", "Shake the phone with % m/s^2 (rms)"},
    {"lux", "dark", "Switch the lamp off, so that no light reaches the sensors"},
    {"lux", "", "Set the factory lamp to % lux"},
    {"cct", "", "Set the colour of the lamp to % K"},
    {"dark-box", "on", "Put the phone into the dark box and close it"},
    {"dark-box", "off", "Take the phone out of the dark box"},
    {"target", "none", "Take everything away from before the proximity sensor"},
    {"target", "", "Put the target % cm before the proximity sensor"},
    {"pressure", "", "Bring the pressure to % hPa by the reference barometer"},
    {"temperature", "", "Bring the phone to % degC"},
};
constexpr char kTilted[] = "tilted:";

std::string filled(std::string words, const std::string& value) {
  const size_t gap = words.find('%');
  return gap == std::string::npos ? words : words.replace(gap, 1, value);
}

}  // namespace

std::string instruction(const std::string& key, const std::string& value) {
  if (key == "up" && value.rfind(kTilted, 0) == 0) {
    return filled("Lay the phone screen up and raise its right edge by % degrees", value.substr(sizeof kTilted - 1));
  }
  for (const Row& row : kRows) {
    if (key == row.key && (*row.value == '\0' || value == row.value)) return filled(row.words, value);
  }
  return "Set " + key + " to " + value;
}

}  // namespace factory
