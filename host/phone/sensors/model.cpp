#include "phone/sensors/model.h"

#include <algorithm>
#include <cmath>

namespace phone {
namespace {

constexpr float kReferenceK = 4000;  // at which chips have their nominal response
constexpr float kPanelK = 6500;      // the panel's white
constexpr float kReferenceC = 25;    // at which chips do not drift
constexpr float kNoTargetCm = 100;   // at this distance nothing comes back
constexpr float kNearCm = 5;         // a perfect proximity sensor's limit
constexpr float kMillimetresPerCm = 10;
constexpr int kLuxChannels = 4;     // that the hub computes plain lux from, and that backlight levels hold
constexpr int kScaledChannels = 5;  // the others are not calibrated

size_t at(int index) { return static_cast<size_t>(index); }

std::array<float, 3> mounted(const Chip& chip, const float (&v)[3]) {
  if (chip.upside_down) return {v[0], -v[1], -v[2]};
  return {v[0], v[1], v[2]};
}

float colour_factor(float slope, float temperature_k) {
  return 1 + slope * std::clamp((temperature_k - kReferenceK) / kReferenceK, -1.0F, 1.0F);
}

float scene_lux(const Scene& scene) { return scene.world.dark_box ? 0 : scene.world.lux; }

float panel_lux(const Chip& chip, const Scene& scene) {
  return chip.panel_lux * std::pow(scene.panel, chip.panel_gamma);
}

float channel_light(const Chip& chip, int channel, const Scene& scene, float from_panel) {
  const float slope = chip.colour_slope[at(channel)];
  return chip.response[at(channel)] * (scene_lux(scene) * colour_factor(slope, scene.world.colour_temperature_k) +
                                       from_panel * colour_factor(slope, kPanelK));
}

float reflection(const Chip& chip, const Scene& scene) {
  constexpr float kClosestCm = 0.5F;
  if (scene.world.target_cm >= kNoTargetCm) return 0;
  const float distance = std::max(scene.world.target_cm, kClosestCm);
  const float counts = chip.reflection / (distance * distance);
  return chip.reflection_limit > 0 ? std::min(counts, chip.reflection_limit) : counts;
}

float drift(const Chip& chip, const Scene& scene) {
  return chip.temperature_drift * (scene.world.temperature_c - kReferenceC);
}

bool is_light(Kind kind) {
  return kind == Kind::light || kind == Kind::light_stream || kind == Kind::colour || kind == Kind::colour_stream;
}

// The word of channel 0 in Values, for kinds whose event carries none too.
int channel_word(Kind kind) { return kind == Kind::light || kind == Kind::light_stream ? 1 : 2; }

void light_values(const SensorEntry& sensor, const Errors& errors, const Scene& scene, float from_panel, Values* out) {
  const int first = channel_word(sensor.kind);
  (*out)[0] = errors.gain * (scene_lux(scene) + from_panel);
  if (first == 2) (*out)[1] = scene.world.colour_temperature_k;
  for (int i = 0; i < kStreamChannels; ++i) {
    (*out)[at(first + i)] = errors.channel_gain[at(i)] * channel_light(*sensor.chip, i, scene, from_panel);
  }
}

// Lux from calibrated channels, the panel's part taken out where it is given. The slopes of these channels add up to 0,
// so that the colour of the light does not matter.
float lux_of_channels(const Chip& chip, const Values& channels, const std::array<float, kLuxChannels>& panel) {
  float sum = 0;
  for (int i = 0; i < kLuxChannels; ++i) sum += (channels[at(1 + i)] - panel[at(i)]) / chip.response[at(i)];
  return sum / kLuxChannels;
}

void report_light(const SensorEntry& sensor, const Errors& errors, const Scene& scene, const HubView& view,
                  Values* out) {
  const Chip& chip = *sensor.chip;
  const int first = channel_word(sensor.kind);
  const bool colour = first == 2;
  const std::array<float, 8> scales = view.hub->channel_scales(sensor.type);
  for (int i = 0; i < kScaledChannels; ++i) (*out)[at(first + i)] *= scales[at(i)];

  const bool corrected = sensor.kind == Kind::light && !view.panel_uncorrected;
  if (!colour) {
    std::array<float, kLuxChannels> panel{};
    if (chip.lux_from_channels && !view.recorded) {
      if (corrected) panel = view.hub->panel_channels(sensor.type, scene.brightness);
      (*out)[0] = errors.gain * lux_of_channels(chip, *out, panel);
    }
    (*out)[0] *= view.hub->lux_scale(sensor.type);
    if (corrected) (*out)[0] -= view.hub->panel_lux(sensor.type, scene.brightness);
  }
  (*out)[0] = std::max((*out)[0], 0.0F);
  if (chip.also_scaled_by == 0) return;
  const std::array<float, 8> more = view.hub->channel_scales(chip.also_scaled_by);
  for (int i = 0; i < kScaledChannels; ++i) (*out)[at(first + i)] *= more[at(i)];
}

}  // namespace

Errors draw_errors(const Chip& chip, const Draws& phone) {
  const Draws draws = phone.of("chip").of(chip.name);
  Errors errors;
  for (int i = 0; i < 3; ++i) errors.bias[at(i)] = chip.bias.draw(draws.of("bias"), i);
  errors.gain = chip.gain.draw(draws.of("gain"), 0);
  for (int i = 0; i < kStreamChannels; ++i) {
    errors.channel_gain[at(i)] = chip.channel_gain.draw(draws.of("channel gain"), i);
  }
  errors.optical_crosstalk = chip.optical_crosstalk.draw(draws.of("crosstalk"), 0);
  return errors;
}

int raw_words(const SensorEntry& sensor) {
  return is_light(sensor.kind) ? channel_word(sensor.kind) + kStreamChannels : sensor.values;
}

float per_unit(const SensorEntry& sensor, int word) {
  return word < sensor.values ? 1 : sensor.chip->response[at(word - channel_word(sensor.kind))];
}

Values truth(const SensorEntry& sensor, const Scene& scene) {
  const World& world = scene.world;
  Values out{};
  switch (sensor.kind) {
    case Kind::accelerometer: {
      const std::array<float, 3> up = mounted(*sensor.chip, world.up);
      for (size_t i = 0; i < 3; ++i) out[i] = kGravity * up[i];
      break;
    }
    case Kind::gyroscope: {
      const std::array<float, 3> rate = mounted(*sensor.chip, world.rotation_rad_s);
      std::copy(rate.begin(), rate.end(), out.begin());
      break;
    }
    case Kind::pressure:
      out[0] = world.pressure_hpa;
      break;
    case Kind::light:
    case Kind::light_stream:
    case Kind::colour:
    case Kind::colour_stream: {
      Errors none;
      none.channel_gain.fill(1);
      light_values(sensor, none, scene, 0, &out);
      break;
    }
    case Kind::proximity:
      out[0] = world.target_cm < kNearCm ? 0 : sensor.max_range;
      break;
    case Kind::proximity_counts:
      out[0] = reflection(*sensor.chip, scene);
      break;
    case Kind::sar:
      std::fill_n(out.begin(), 3, reflection(*sensor.chip, scene));
      break;
    case Kind::tof:
      out[0] = world.target_cm * kMillimetresPerCm;
      break;
    case Kind::constant:
      std::copy_n(sensor.chip->values.begin(), std::min<size_t>(sensor.chip->values.size(), 3), out.begin());
      break;
  }
  return out;
}

Values raw_values(const SensorEntry& sensor, const Errors& errors, const Scene& scene) {
  Values out = truth(sensor, scene);
  if (is_light(sensor.kind)) {
    light_values(sensor, errors, scene, panel_lux(*sensor.chip, scene), &out);
    return out;
  }
  if (sensor.kind == Kind::proximity || sensor.kind == Kind::proximity_counts) {
    out[0] = reflection(*sensor.chip, scene) + errors.optical_crosstalk;
    return out;
  }
  for (int i = 0; i < sensor.values && i < 3; ++i) out[at(i)] += errors.bias[at(i)] + drift(*sensor.chip, scene);
  return out;
}

void add_noise(const SensorEntry& sensor, const Scene& scene, int64_t period_ns, const Draws& draws, Values* raw) {
  const Chip& chip = *sensor.chip;
  const float nyquist_hz = 5e8F / static_cast<float>(std::max<int64_t>(period_ns, 1));
  const float deviation = chip.noise_density * std::sqrt(std::min(chip.bandwidth_hz, nyquist_hz));
  const float vibration = sensor.kind == Kind::accelerometer ? scene.world.vibration_m_s2 : 0;
  const int first = is_light(sensor.kind) ? channel_word(sensor.kind) : 0;
  for (int i = 0; i < raw_words(sensor); ++i) {
    if (first == 2 && i == 1) continue;  // the colour temperature is computed, not measured
    float& value = (*raw)[at(i)];
    // A channel's noise is that of the light, in its own counts.
    const float unit = first > 0 && i >= first ? chip.response[at(i - first)] : 1;
    const float size = std::hypot(deviation * unit, chip.noise_relative * value, vibration);
    if (size > 0) value += size * static_cast<float>(draws.normal(static_cast<uint64_t>(i)));
    if (chip.quantisation > 0) value = std::round(value / chip.quantisation) * chip.quantisation;
  }
}

Values reported(const SensorEntry& sensor, const Errors& errors, const Scene& scene, const HubView& view,
                const Values& raw) {
  const Hub& hub = *view.hub;
  Values out = raw;
  switch (sensor.kind) {
    case Kind::accelerometer:
    case Kind::gyroscope: {
      const std::array<float, 3> offset = hub.offset(sensor.type);
      for (size_t i = 0; i < 3; ++i) out[i] -= offset[i];
      break;
    }
    case Kind::pressure:
      out[0] -= hub.pressure_offset();
      break;
    case Kind::light:
    case Kind::light_stream:
    case Kind::colour:
    case Kind::colour_stream:
      report_light(sensor, errors, scene, view, &out);
      break;
    case Kind::proximity:
    case Kind::proximity_counts:
      out[0] = std::max(std::round(raw[0] - hub.proximity().hardware_crosstalk), 0.0F);
      break;
    case Kind::sar:
      for (int i = 0; i < 3; ++i) out[at(i)] -= hub.sar_offset(sensor.type, i);
      break;
    case Kind::tof:
      out[0] -= hub.tof_offset();
      break;
    case Kind::constant:
      break;
  }
  return out;
}

}  // namespace phone
