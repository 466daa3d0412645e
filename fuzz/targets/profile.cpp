// A phone profile is read with every number finite and every reference resolved, or refused with a PhoneError; the text
// that it keeps of itself reads as the same profile.
#include "phone/core/profile.h"

#include <cmath>
#include <set>

#include "phone/core/phone.h"
#include "support/checks.h"

namespace {

void check_part(const phone::Part& part) {
  for (int axis = 0; axis < 3; ++axis) HOLDS(std::isfinite(part.draw(phone::Draws(1), axis)));
}

void check_chip(const phone::Chip& chip) {
  for (const phone::Part* part : {&chip.bias, &chip.gain, &chip.channel_gain, &chip.optical_crosstalk})
    check_part(*part);
  for (const float value : chip.response) HOLDS(std::isfinite(value));
  for (const float value : chip.colour_slope) HOLDS(std::isfinite(value));
  for (const float value : chip.values) HOLDS(std::isfinite(value));
  HOLDS(chip.bandwidth_hz > 0 && chip.noise_density >= 0 && chip.noise_relative >= 0 && chip.quantisation >= 0);
}

void check(const phone::Profile& profile) {
  for (const auto& [name, chip] : profile.chips) check_chip(chip);
  std::set<int> handles;
  for (const phone::SensorEntry& sensor : profile.sensors) {
    HOLDS(handles.insert(sensor.handle).second && sensor.handle >= 0);
    HOLDS(sensor.chip != nullptr && profile.chips.count(sensor.chip->name) == 1);
    HOLDS(sensor.min_period_us >= 1 && sensor.max_period_us >= sensor.min_period_us);
  }
  for (const auto& [type, channels] : profile.golden) {
    for (const float value : channels) HOLDS(std::isfinite(value));
  }
  HOLDS(profile.max_brightness >= 1 && profile.brightness >= 0 && profile.brightness <= profile.max_brightness);
  for (const auto& [path, content] : profile.files) HOLDS(path[0] == '/' && path.find("..") == std::string::npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  try {
    const phone::ProfilePtr profile = phone::parse_profile(text, "/nowhere/fuzz.json");
    check(*profile);
    const phone::ProfilePtr again = phone::parse_profile(profile->text, "/nowhere/again.json");
    HOLDS(again->text == profile->text);
  } catch (const phone::PhoneError&) {
  }
  return 0;
}
