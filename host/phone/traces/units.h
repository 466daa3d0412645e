// What a recorded column can hold, the units it may be written in, and which of it each sensor type takes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace phone {

enum class Quantity { acceleration, angular_rate, pressure, light, proximity, counts, other };

// A value in this unit times `factor` is in m/s^2, rad/s, hPa or lux; counts stay as they are.
struct Unit {
  std::string name;
  Quantity measure = Quantity::other;
  double factor = 1;
};

inline constexpr double kStandardGravity = 9.80665;

// Finds a unit by any of its usual spellings, in either case: "m/s^2", "Mps2", "deg_per_s", "pascals".
std::optional<Unit> find_unit(std::string_view text);
// The unit that sensor events carry.
Unit event_unit(Quantity measure);
// Whether a sensor that measures this can be given in the unit. Counts fit every sensor.
bool fits(const Unit& unit, Quantity measure);

enum class TimeUnit { s, ms, us, ns };
std::optional<TimeUnit> find_time_unit(std::string_view text);
const char* name_of(TimeUnit unit);
// Nanoseconds in the unit, as a power of ten.
int nanosecond_exponent(TimeUnit unit);

// Which values a sensor's event carries, and so a recorded sample (see RecordedSample).
enum class Layout { axes, single, lux_and_channels, channels };

struct ReplayKind {
  int sensor_type;
  Quantity measure;
  Layout layout;
  bool on_change;  // reports when the value changes: neither a rate nor gaps
  const char* name;
};

// Null where no recording can stand in for the sensor type.
const ReplayKind* find_replay_kind(int sensor_type);

}  // namespace phone
