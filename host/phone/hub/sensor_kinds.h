// Which sensor types the hub knows and which of them share a chip.
#pragma once

#include <SensorType.h>

#include <algorithm>
#include <iterator>
#include <string>

namespace phone {

// A light or colour chip; its store goes by its plain type.
struct LightChip {
  int type;
  int stream;     // carries the channels; a chip without one has its plain type here
  bool lux;       // has a lux scale
  bool channels;  // has channels
};

inline constexpr LightChip kLightChips[] = {
    {sensor_type::light, sensor_type::light_stream, true, true},
    {sensor_type::lux_f, sensor_type::lux_f, true, false},
    {sensor_type::lux_b, sensor_type::lux_b_stream, true, true},
    {sensor_type::lux_sec, sensor_type::lux_sec_stream, true, true},
    {sensor_type::lux_pri2, sensor_type::lux_pri2_stream, true, true},
    {sensor_type::cct_b, sensor_type::cct_b_stream, false, true},
    {sensor_type::cct_f, sensor_type::cct_f_stream, false, true},
};

inline constexpr int kAccelerometers[] = {sensor_type::accelerometer, sensor_type::accelerometer_second};
inline constexpr int kGyroscopes[] = {sensor_type::gyroscope, sensor_type::gyroscope_second};
inline constexpr int kSarChips[] = {sensor_type::sar, sensor_type::sar_second};

// Null for a type that is no light or colour sensor.
constexpr const LightChip* light_chip(int type) {
  for (const LightChip& chip : kLightChips) {
    if (chip.type == type || chip.stream == type) return &chip;
  }
  return nullptr;
}

template <size_t N>
constexpr bool is_one_of(const int (&types)[N], int type) {
  return std::find(std::begin(types), std::end(types), type) != std::end(types);
}

// Types 4 and 16 are the same chip.
constexpr int gyroscope_chip(int type) {
  return type == sensor_type::gyroscope_uncalibrated ? sensor_type::gyroscope : type;
}

constexpr bool is_known_type(int type) {
  constexpr int untagged[] = {sensor_type::gyroscope_uncalibrated, sensor_type::proximity_stream,
                              sensor_type::light_stream, sensor_type::sar, sensor_type::sar_second};
  const auto same = [type](const sensor_type::TagRow& row) { return row.type == type; };
  return is_one_of(untagged, type) || std::any_of(std::begin(sensor_type::kTags), std::end(sensor_type::kTags), same);
}

// The tag, or the number where there is none.
inline std::string sensor_label(int type) {
  for (const sensor_type::TagRow& row : sensor_type::kTags) {
    if (row.type == type) return row.tag;
  }
  return std::to_string(type);
}

}  // namespace phone
