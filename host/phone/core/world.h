// The factory fixture around the phone: what its sensors are exposed to.
#pragma once

#include <map>
#include <string>

namespace phone {

struct World {
  // Direction of "up" in the phone's frame, as a unit vector: (0, 0, 1) lies face up, flat.
  float up[3] = {0, 0, 1};
  float rotation_rad_s[3] = {0, 0, 0};
  float vibration_m_s2 = 0;  // rms of a random acceleration on every axis
  float pressure_hpa = 1013.25F;
  float lux = 200;
  float colour_temperature_k = 4000;
  float target_cm = 100;  // distance of a target before the proximity sensor
  bool dark_box = false;  // no light but the panel's own
  float temperature_c = 25;
};

// Sets one value from text: "up" ("flat", "face-down", "tilted:DEGREES", or "x,y,z"), "rotation" ("x,y,z" in rad/s),
// "vibration" (m/s^2), "pressure" (hPa), "lux" (a number or "dark"), "cct" (K), "target" (cm, or "none"), "dark-box"
// ("on", "off"), "temperature" (degrees C). Returns an empty text, or what is wrong, naming the key and the value.
std::string set_world(World* world, const std::string& key, const std::string& value);

// Every key with its value, as set_world() takes them.
std::map<std::string, std::string> describe(const World& world);

}  // namespace phone
