// The sensor types a phone can list: what each measures and how its event is laid out.
#pragma once

#include <SensorType.h>

#include <optional>
#include <string>
#include <string_view>

namespace phone {

enum class Kind {
  accelerometer,
  gyroscope,
  pressure,
  light,          // lux in word 0
  light_stream,   // lux in word 0, channels from word 1
  colour,         // lux in word 0, colour temperature in word 1
  colour_stream,  // the same, and channels from word 2
  proximity,      // near or far, reported when it changes
  proximity_counts,
  sar,
  tof,
  constant,  // sensors that no calibration looks at: fixed values and noise
};

inline constexpr int kStreamChannels = 7;

struct KindRow {
  int type;
  Kind kind;
  int values;  // words that the event fills
};

inline constexpr KindRow kSensorKinds[] = {
    {sensor_type::accelerometer, Kind::accelerometer, 3},
    {sensor_type::accelerometer_second, Kind::accelerometer, 3},
    {sensor_type::gyroscope, Kind::gyroscope, 3},
    {sensor_type::gyroscope_uncalibrated, Kind::gyroscope, 3},
    {sensor_type::gyroscope_second, Kind::gyroscope, 3},
    {sensor_type::pressure, Kind::pressure, 1},
    {sensor_type::light, Kind::light, 1},
    {sensor_type::lux_f, Kind::light, 1},
    {sensor_type::lux_b, Kind::light, 1},
    {sensor_type::lux_sec, Kind::light, 1},
    {sensor_type::lux_pri2, Kind::light, 1},
    {sensor_type::light_stream, Kind::light_stream, 1 + kStreamChannels},
    {sensor_type::lux_b_stream, Kind::light_stream, 1 + kStreamChannels},
    {sensor_type::lux_sec_stream, Kind::light_stream, 1 + kStreamChannels},
    {sensor_type::lux_pri2_stream, Kind::light_stream, 1 + kStreamChannels},
    {sensor_type::cct_f, Kind::colour, 2},
    {sensor_type::cct_b, Kind::colour, 2},
    {sensor_type::cct_f_stream, Kind::colour_stream, 2 + kStreamChannels},
    {sensor_type::cct_b_stream, Kind::colour_stream, 2 + kStreamChannels},
    {sensor_type::proximity, Kind::proximity, 1},
    {sensor_type::proximity_stream, Kind::proximity_counts, 1},
    {sensor_type::sar, Kind::sar, 3},
    {sensor_type::sar_second, Kind::sar, 3},
    {sensor_type::tof, Kind::tof, 1},
    {sensor_type::magnetic_field, Kind::constant, 3},
    {14, Kind::constant, 3},
    {7, Kind::constant, 1},
    {12, Kind::constant, 1},
    {13, Kind::constant, 1},
    {sensor_type::flicker, Kind::constant, 1},
    {sensor_type::gas, Kind::constant, 1},
};

constexpr const KindRow* kind_row(int type) {
  for (const KindRow& row : kSensorKinds) {
    if (row.type == type) return &row;
  }
  return nullptr;
}

// The word of the event that carries channel 0; 0 for sensors without channels.
constexpr int first_channel_word(Kind kind) {
  return kind == Kind::light_stream ? 1 : kind == Kind::colour_stream ? 2 : 0;
}

// The number of a tag or of a decimal text; none for anything else.
std::optional<int> parse_sensor_type(std::string_view text);
// The tag, or the number where there is none.
std::string sensor_name(int type);

}  // namespace phone
