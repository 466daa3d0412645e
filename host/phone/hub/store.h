// What the hub keeps. A value that was never set is absent and has its default.
#pragma once

#include <json/json.h>

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace phone {

inline constexpr int kChannelCount = 8;
inline constexpr int kDarkValues = 6;
inline constexpr int kHighLevel = 13;
inline constexpr int kLowLevel = 14;

using Vector3 = std::array<float, 3>;
using Channels = std::array<float, kChannelCount>;

constexpr Channels all_channels(float value) {
  Channels out{};
  out.fill(value);
  return out;
}

struct LuxLevel {
  int32_t brightness = 0;
  int32_t lux = 0;
  float scale = 1;  // the chip's lux scale when the level was stored
};

struct ColourLevel {
  float brightness = 0;
  std::array<float, 4> channels{};
};

// One light or colour chip. The maps go by what the message names: level code, step, dark value, channel.
struct LightStore {
  std::optional<float> scale;
  std::optional<Channels> channel_scales;
  std::optional<Channels> golden_channels;
  std::map<int, float> dark;
  std::map<int, float> high_lux;
  std::map<int, float> panel_samples;
  std::map<int, float> screen_channels;
  std::map<int, LuxLevel> backlight;
  std::map<int, ColourLevel> colour_backlight;
};

struct ProximityStore {
  std::optional<int32_t> near_threshold;
  std::optional<int32_t> far_threshold;
  std::optional<int32_t> crosstalk;
  std::optional<float> hardware_crosstalk;
};

struct TofStore {
  std::optional<int32_t> steps_done;
  std::optional<float> reference;
  std::optional<float> offset;
  std::optional<float> crosstalk;
};

struct SarStore {
  std::optional<Channels> offset;
  std::optional<Channels> baseline;  // goes with a reboot
  std::map<int, int32_t> registers;  // goes with a reboot
};

struct Store {
  std::map<int, std::optional<Vector3>> offsets;  // accelerometers and gyroscopes, by type
  std::optional<float> pressure_offset;
  std::map<int, LightStore> lights;  // by plain type
  ProximityStore proximity;
  TofStore tof;
  std::map<int, SarStore> sars;
  std::optional<int32_t> last_high_lux;     // plain type whose level 13 came last
  std::optional<int32_t> last_high_colour;  // the same for colour levels

  const LightStore& light(int plain_type) const;  // empty where there is none
  const SarStore& sar(int type) const;
  Vector3 offset(int type) const;
};

// The registry's form, docs/formats/hub-registry.md.
Json::Value to_json(Store store);
// Returns an empty text, or what was wrong; `out` is written only when all of it was right.
std::string from_json(const Json::Value& json, Store* out);
// Every sensor with value, unit and whether it was set.
Json::Value describe(Store store);

}  // namespace phone
