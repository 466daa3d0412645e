// What a phone is made of: its chips and sensors, its panel, its hub's chips, its properties and files.
#pragma once

#include <json/json.h>

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "phone/core/random.h"
#include "phone/hub/hub.h"
#include "phone/sensors/kinds.h"

namespace phone {

// A value that differs from part to part: given, or drawn from the phone's seed.
struct Part {
  std::vector<float> fixed;  // one for all axes, or one an axis; empty: drawn
  float mean = 0;            // normal around it, cut at mean +- limit
  float sigma = 0;
  float limit = 0;
  bool even = false;  // uniform between from and to, where one of them is given
  float from = 0;
  float to = 0;

  float draw(const Draws& draws, int axis) const;
  static Part of(float value) {
    Part part;
    part.fixed = {value};
    return part;
  }
};

// One physical part. The sensors it serves share its errors.
struct Chip {
  std::string name;
  Part bias;                        // added, per axis
  Part gain = Part::of(1);          // light: of the lux
  Part channel_gain = Part::of(1);  // of each channel
  float noise_density = 0;          // per square root of a hertz
  float noise_relative = 0;         // of the value
  float bandwidth_hz = 100;
  float quantisation = 0;
  float temperature_drift = 0;  // per degree from 25 degrees C
  float startup_ms = 0;
  bool upside_down = false;  // mounted on the other side: turned about the x axis

  std::array<float, kStreamChannels> response{};      // counts per lux
  std::array<float, kStreamChannels> colour_slope{};  // change of the response, per 4000 K above 4000 K
  float panel_lux = 0;                                // what the panel adds at full brightness
  float panel_gamma = 1;
  bool lux_from_channels = false;  // the hub computes the plain lux from the channels
  int also_scaled_by = 0;          // a type whose channel scales the hub applies to this chip's stream too

  Part optical_crosstalk;      // counts without a target
  float reflection = 0;        // counts of a target at 1 cm, of a SAR sensor's too
  float reflection_limit = 0;  // counts at which the chip saturates
  std::vector<float> values;   // of a sensor of constant kind
};

struct SensorEntry {
  int type = 0;
  Kind kind = Kind::constant;
  int values = 0;
  std::string name;
  std::string vendor;
  int handle = 0;
  int version = 1;
  float max_range = 0;
  float resolution = 0;
  float power_ma = 0;
  int min_period_us = 0;
  int max_period_us = 0;
  const Chip* chip = nullptr;
};

struct Profile {
  std::string name;
  std::string title;
  std::map<std::string, std::string> properties;
  std::map<std::string, Chip> chips;
  std::vector<SensorEntry> sensors;  // as listed: by handle
  int max_brightness = 4095;
  int brightness = 1024;  // at the first start and after a reboot
  Hub::Chips hub;
  std::map<int, std::vector<float>> golden;  // channels that a golden phone of this make shows under the lamp
  std::map<std::string, std::string> world;  // where the phone lies at first
  std::vector<std::string> faults;
  std::map<std::string, std::string> files;  // path on the device -> content, laid down at the first use
  std::string text;                          // all of it as JSON, `extends` resolved

  Profile() = default;
  Profile(const Profile&) = delete;  // the sensors point to the chips
  Profile& operator=(const Profile&) = delete;
};

using ProfilePtr = std::shared_ptr<const Profile>;

// Finds a shipped profile by name, or reads a JSON file. Throws PhoneError that names the file and the key.
ProfilePtr load_profile(const std::string& name_or_file);
// Reads a profile's text; `source` names it in errors, and relative `extends` are searched beside it.
ProfilePtr parse_profile(const std::string& text, const std::string& source);

// A shipped profile, compiled in from host/profiles.
struct ShippedProfile {
  const char* name;
  const char* text;
};
// Ends with a null name.
extern const ShippedProfile kShippedProfiles[];

}  // namespace phone
