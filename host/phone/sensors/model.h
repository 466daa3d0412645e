// What sensors measure: truth, raw value and what the hub makes of it.
#pragma once

#include <array>
#include <cstdint>

#include "phone/core/profile.h"
#include "phone/core/random.h"
#include "phone/core/world.h"
#include "phone/hub/hub.h"

namespace phone {

inline constexpr float kGravity = 9.80665F;

// What the sensors are exposed to at one moment.
struct Scene {
  World world;
  int brightness = 0;  // of the panel
  float panel = 0;     // the same, as a part of the maximum
};

// Laid out as the sensor's event; light sensors carry the channels of their chip even where the event does not.
using Values = std::array<float, 16>;

// What makes one part differ from a perfect one.
struct Errors {
  std::array<float, 3> bias{};
  float gain = 1;
  std::array<float, kStreamChannels> channel_gain{};
  float optical_crosstalk = 0;
};

Errors draw_errors(const Chip& chip, const Draws& phone);

// The words that a part fills: of a light sensor its channels too.
int raw_words(const SensorEntry& sensor);

// What one unit of the sensor's value makes of a word of its part: in the channels behind a light's value, their
// counts.
float per_unit(const SensorEntry& sensor, int word);

// What a perfect sensor would report, and what it is made to report: no panel light, no crosstalk.
Values truth(const SensorEntry& sensor, const Scene& scene);
// What the part gives, without noise.
Values raw_values(const SensorEntry& sensor, const Errors& errors, const Scene& scene);

// Noise, vibration and quantisation of one sample. `draws` is the sample's own.
void add_noise(const SensorEntry& sensor, const Scene& scene, int64_t period_ns, const Draws& draws, Values* raw);

// What the hub makes of raw values. Everything but the run-time gyroscope bias and the proximity state, which the
// sensor keeps.
struct HubView {
  const Hub* hub;
  bool panel_uncorrected = false;  // see docs/phone-panel.md
  bool recorded = false;           // the raw values are a recording's: its lux is a reading, not made of channels
};
Values reported(const SensorEntry& sensor, const Errors& errors, const Scene& scene, const HubView& view,
                const Values& raw);

}  // namespace phone
