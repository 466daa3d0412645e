#include "phone/traces/units.h"

#include <SensorType.h>

#include <array>
#include <cctype>
#include <numbers>
#include <utility>

namespace phone {
namespace {

constexpr double kDegree = std::numbers::pi / 180;

struct UnitRow {
  const char* spelling;  // as normalised() leaves it
  const char* name;
  Quantity measure;
  double factor;
};

constexpr UnitRow kUnits[] = {
    {"m/s^2", "m/s^2", Quantity::acceleration, 1},
    {"m/s2", "m/s^2", Quantity::acceleration, 1},
    {"m/s/s", "m/s^2", Quantity::acceleration, 1},
    {"ms2", "m/s^2", Quantity::acceleration, 1},
    {"ms-2", "m/s^2", Quantity::acceleration, 1},
    {"ms^-2", "m/s^2", Quantity::acceleration, 1},
    {"mps2", "m/s^2", Quantity::acceleration, 1},
    {"g", "g", Quantity::acceleration, kStandardGravity},
    {"gs", "g", Quantity::acceleration, kStandardGravity},
    {"mg", "mg", Quantity::acceleration, kStandardGravity / 1000},
    {"rad/s", "rad/s", Quantity::angular_rate, 1},
    {"rad/sec", "rad/s", Quantity::angular_rate, 1},
    {"rads", "rad/s", Quantity::angular_rate, 1},
    {"radpers", "rad/s", Quantity::angular_rate, 1},
    {"radpersec", "rad/s", Quantity::angular_rate, 1},
    {"rps", "rad/s", Quantity::angular_rate, 1},
    {"deg/s", "deg/s", Quantity::angular_rate, kDegree},
    {"deg/sec", "deg/s", Quantity::angular_rate, kDegree},
    {"degs", "deg/s", Quantity::angular_rate, kDegree},
    {"degpers", "deg/s", Quantity::angular_rate, kDegree},
    {"degpersec", "deg/s", Quantity::angular_rate, kDegree},
    {"dps", "deg/s", Quantity::angular_rate, kDegree},
    {"mdps", "mdps", Quantity::angular_rate, kDegree / 1000},
    {"hpa", "hPa", Quantity::pressure, 1},
    {"mbar", "hPa", Quantity::pressure, 1},
    {"millibar", "hPa", Quantity::pressure, 1},
    {"millibars", "hPa", Quantity::pressure, 1},
    {"hectopascal", "hPa", Quantity::pressure, 1},
    {"hectopascals", "hPa", Quantity::pressure, 1},
    {"pa", "Pa", Quantity::pressure, 0.01},
    {"pascal", "Pa", Quantity::pressure, 0.01},
    {"pascals", "Pa", Quantity::pressure, 0.01},
    {"kpa", "kPa", Quantity::pressure, 10},
    {"kilopascals", "kPa", Quantity::pressure, 10},
    {"lux", "lux", Quantity::light, 1},
    {"lx", "lux", Quantity::light, 1},
    {"counts", "counts", Quantity::counts, 1},
    {"count", "counts", Quantity::counts, 1},
    {"lsb", "counts", Quantity::counts, 1},
    // Known so that their columns are never mistaken for another sensor's.
    {"ut", "uT", Quantity::other, 1},
    {"microt", "uT", Quantity::other, 1},
    {"microtesla", "uT", Quantity::other, 1},
    {"microteslas", "uT", Quantity::other, 1},
    {"m", "m", Quantity::other, 1},
    {"meters", "m", Quantity::other, 1},
    {"m/s", "m/s", Quantity::other, 1},
    {"meterspers", "m/s", Quantity::other, 1},
    {"deg", "deg", Quantity::other, 1},
    {"degc", "deg C", Quantity::other, 1},
};

struct TimeUnitRow {
  const char* spelling;
  TimeUnit unit;
};

constexpr TimeUnitRow kTimeUnits[] = {
    {"s", TimeUnit::s},   {"sec", TimeUnit::s},   {"secs", TimeUnit::s},    {"seconds", TimeUnit::s},
    {"ms", TimeUnit::ms}, {"msec", TimeUnit::ms}, {"millis", TimeUnit::ms}, {"milliseconds", TimeUnit::ms},
    {"us", TimeUnit::us}, {"usec", TimeUnit::us}, {"micros", TimeUnit::us}, {"microseconds", TimeUnit::us},
    {"ns", TimeUnit::ns}, {"nsec", TimeUnit::ns}, {"nanos", TimeUnit::ns},  {"nanoseconds", TimeUnit::ns},
};

constexpr ReplayKind kKinds[] = {
    {sensor_type::accelerometer, Quantity::acceleration, Layout::axes, false, "an accelerometer"},
    {sensor_type::accelerometer_second, Quantity::acceleration, Layout::axes, false, "an accelerometer"},
    {sensor_type::gyroscope, Quantity::angular_rate, Layout::axes, false, "a gyroscope"},
    {sensor_type::gyroscope_uncalibrated, Quantity::angular_rate, Layout::axes, false, "a gyroscope"},
    {sensor_type::gyroscope_second, Quantity::angular_rate, Layout::axes, false, "a gyroscope"},
    {sensor_type::pressure, Quantity::pressure, Layout::single, false, "a barometer"},
    {sensor_type::light, Quantity::light, Layout::single, true, "a light sensor"},
    {sensor_type::lux_f, Quantity::light, Layout::single, true, "a light sensor"},
    {sensor_type::lux_b, Quantity::light, Layout::single, true, "a light sensor"},
    {sensor_type::lux_pri2, Quantity::light, Layout::single, true, "a light sensor"},
    {sensor_type::lux_sec, Quantity::light, Layout::single, true, "a light sensor"},
    {sensor_type::light_stream, Quantity::light, Layout::lux_and_channels, false, "a light stream"},
    {sensor_type::lux_b_stream, Quantity::light, Layout::lux_and_channels, false, "a light stream"},
    {sensor_type::lux_sec_stream, Quantity::light, Layout::lux_and_channels, false, "a light stream"},
    {sensor_type::lux_pri2_stream, Quantity::light, Layout::lux_and_channels, false, "a light stream"},
    {sensor_type::cct_b, Quantity::light, Layout::single, true, "a colour sensor"},
    {sensor_type::cct_b_stream, Quantity::counts, Layout::channels, false, "a colour sensor"},
    {sensor_type::cct_f, Quantity::light, Layout::single, true, "a colour sensor"},
    {sensor_type::cct_f_stream, Quantity::counts, Layout::channels, false, "a colour sensor"},
    {sensor_type::proximity, Quantity::proximity, Layout::single, true, "a proximity sensor"},
    {sensor_type::proximity_stream, Quantity::proximity, Layout::single, false, "a proximity sensor"},
    {sensor_type::tof, Quantity::counts, Layout::single, false, "a time-of-flight sensor"},
    {sensor_type::sar, Quantity::counts, Layout::axes, false, "a SAR sensor"},
    {sensor_type::sar_second, Quantity::counts, Layout::axes, false, "a SAR sensor"},
};

// Lower case without blanks, underscores and dots, the special signs written out.
std::string normalised(std::string_view text) {
  constexpr std::array<std::pair<std::string_view, std::string_view>, 4> kSigns = {{
      {"\xC2\xB2", "^2"},  // superscript two
      {"\xC2\xB0", "deg"},
      {"\xC2\xB5", "u"},
      {"\xCE\xBC", "u"},
  }};
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    bool sign = false;
    for (const auto& [from, to] : kSigns) {
      if (text.substr(i, from.size()) != from) continue;
      out += to;
      i += from.size() - 1;
      sign = true;
      break;
    }
    const char c = text[i];
    if (!sign && c != ' ' && c != '_' && c != '.') out += static_cast<char>(tolower(static_cast<unsigned char>(c)));
  }
  return out;
}

}  // namespace

std::optional<Unit> find_unit(std::string_view text) {
  const std::string spelling = normalised(text);
  for (const UnitRow& row : kUnits) {
    if (spelling == row.spelling) return Unit{row.name, row.measure, row.factor};
  }
  return std::nullopt;
}

Unit event_unit(Quantity measure) {
  switch (measure) {
    case Quantity::acceleration:
      return {"m/s^2", measure, 1};
    case Quantity::angular_rate:
      return {"rad/s", measure, 1};
    case Quantity::pressure:
      return {"hPa", measure, 1};
    case Quantity::light:
      return {"lux", measure, 1};
    default:
      return {"counts", Quantity::counts, 1};
  }
}

bool fits(const Unit& unit, Quantity measure) { return unit.measure == measure || unit.measure == Quantity::counts; }

std::optional<TimeUnit> find_time_unit(std::string_view text) {
  const std::string spelling = normalised(text);
  for (const TimeUnitRow& row : kTimeUnits) {
    if (spelling == row.spelling) return row.unit;
  }
  return std::nullopt;
}

const char* name_of(TimeUnit unit) {
  constexpr const char* kNames[] = {"s", "ms", "us", "ns"};
  return kNames[static_cast<int>(unit)];
}

int nanosecond_exponent(TimeUnit unit) { return 9 - 3 * static_cast<int>(unit); }

const ReplayKind* find_replay_kind(int sensor_type) {
  for (const ReplayKind& kind : kKinds) {
    if (kind.sensor_type == sensor_type) return &kind;
  }
  return nullptr;
}

}  // namespace phone
