#include "simulator/drawn_phone.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "files/json_text.h"
#include "files/numbers.h"
#include "phone/core/random.h"
#include "phone/core/world.h"
#include "sensors/sensor.h"

namespace factory {
namespace {

namespace fs = std::filesystem;

struct FlawRow {
  int type;
  const char* chip;
  double usual = 0;  // deviation of the other axes
};
constexpr FlawRow kFlaws[] = {
    {sensor_type::accelerometer, "imu accelerometer", 0.15},
    {sensor_type::accelerometer_second, "second accelerometer", 0.15},
    {sensor_type::gyroscope, "imu gyroscope", 0.01},
    {sensor_type::gyroscope_second, "second gyroscope", 0.01},
    {sensor_type::pressure, "barometer"},
    {sensor_type::light, "main light"},
    {sensor_type::lux_f, "light F"},
    {sensor_type::lux_b, "light B"},
    {sensor_type::lux_sec, "secondary light"},
    {sensor_type::lux_pri2, "second primary light"},
    {sensor_type::cct_f_stream, "colour F"},
    {sensor_type::cct_b_stream, "colour B"},
    {sensor_type::light_stream, "main light"},
    {sensor_type::proximity, "proximity"},
};

std::string number(double value) { return significant(value, 6); }

std::string list(const std::vector<double>& values) {
  std::string out;
  for (const double value : values) out += (out.empty() ? "[" : ", ") + number(value);
  return out + "]";
}

// The value of the part that is wrong: a scale beyond its limit comes from a gain on the other side of 1. Of the
// proximity sensor the limit is the library's 50 counts between target and crosstalk, at 3 cm.
double wrong_value(const Sensor& sensor, bool high) {
  constexpr double kBeyond = 1.1;
  constexpr double kNearCounts = 50;
  if (sensor.result == Result::proximity) return 9 * kNearCounts / kBeyond;
  if (sensor.result == Result::offset) return kBeyond * (high ? sensor.found_high : sensor.found_low);
  return 1 / (high ? sensor.found_high * kBeyond : sensor.found_low / kBeyond);
}

// Those that a run notices at once; others (a silent sensor) keep a station waiting for the run's time limit.
constexpr const char* kQuickFaults[] = {"enable-refused:", "nan:", "stuck:", "drift:"};

template <typename List>
const auto& one_of(const List& list, double uniform) {
  return list[static_cast<size_t>(uniform * static_cast<double>(std::size(list)))];
}

// Deviations from station to station, as careful setting up leaves them.
constexpr double kLevelRad = 0.0005;  // 5 mm/s^2
constexpr double kPressureHpa = 0.03;
constexpr double kLux = 0.005;  // of the value, and so are the following
constexpr double kColour = 0.003;
constexpr double kDistance = 0.01;
constexpr double kTemperatureC = 0.5;

// In memory where there is such a file system: a phone writes its hub's store at every change, and would wait for the
// disk.
fs::path memory_or_temporary() {
  constexpr char kInMemory[] = "/dev/shm";
  std::error_code ignored;
  return access(kInMemory, W_OK | X_OK) == 0 ? fs::path(kInMemory) : fs::temp_directory_path(ignored);
}

}  // namespace

Flaw draw_flaw(const phone::Draws& draws, uint64_t which, const std::string& profile) {
  const FlawRow& row = kFlaws[which % std::size(kFlaws)];
  const Sensor& sensor = *sensor_of(row.type);
  const bool high = draws.uniform(0) < 0.5;
  const auto axis = static_cast<size_t>(draws.uniform(1) * sensor.values);
  double value = wrong_value(sensor, high);
  std::string chips;
  const auto chip = [](const std::string& name, const std::string& key, const std::string& content) {
    return "\"" + name + "\": {\"" + key + "\": " + content + "}";
  };
  // On one profile lux is made of channels, and one chip's scales are applied to another's: gains without an error
  // there leave the flaw as large as it is meant.
  const std::string no_other_gain = chip("colour F", "channel_gain", "1");
  std::string what = "gain";
  switch (sensor.result) {
    case Result::none:
    case Result::offset: {
      std::vector<double> axes(static_cast<size_t>(sensor.values));
      for (size_t i = 0; i < axes.size(); ++i) axes[i] = i == axis ? value : row.usual * draws.normal(10 + i) / 2;
      what = "bias";
      chips = chip(row.chip, "bias", list(axes));
      break;
    }
    case Result::lux_scale:
      chips = "\"" + std::string(row.chip) + R"(": {"channel_gain": 1, "gain": )" + number(value) + "}";
      chips += ", " + no_other_gain;
      break;
    case Result::channel_scale: {
      constexpr size_t kChannels = 7;
      std::vector<double> gains(kChannels, 1.0);
      gains[axis] = value;
      chips = chip(row.chip, "channel_gain", list(gains));
      if (std::string(row.chip) == "main light") chips += ", " + no_other_gain;
      break;
    }
    case Result::proximity:
      // With this one's large counts the mean of a run scatters by 3: a tenth of the limit would drown in that.
      if (profile == "dov") value *= 0.75;
      what = "reflection";
      chips = chip(row.chip, "reflection", number(value));
      break;
  }
  if (sensor.values > 1) what += " " + std::to_string(axis + 1);
  what += " " + number(value);
  if (found_unit(sensor, false) == sensor.unit) what += " " + std::string(sensor.unit);
  return {tag_of(row.type), what, chips};
}

void write_flawed_profile(const std::string& file, const std::string& profile, const Flaw& flaw) {
  std::ofstream out(file);
  out << R"({"extends": )" << json_line(profile) << R"(, "chips": {)" << flaw.chips << "}}\n";
}

std::optional<DrawnFault> draw_fault(uint64_t seed, double rate, const std::vector<std::string>& sensors,
                                     const std::string& profile, const std::string& profile_file) {
  const phone::Draws draws = phone::Draws(seed).of("line");
  if (sensors.empty() || draws.uniform(0) >= rate) return {};
  std::vector<uint64_t> flaws;  // whose sensor is among those
  for (uint64_t i = 0; i < std::size(kFlaws); ++i) {
    if (std::count(sensors.begin(), sensors.end(), tag_of(kFlaws[i].type)) > 0) flaws.push_back(i);
  }
  if (!flaws.empty() && draws.uniform(1) < 0.5) {
    write_flawed_profile(profile_file, profile, draw_flaw(draws.of("flaw"), one_of(flaws, draws.uniform(2)), profile));
    return DrawnFault{profile_file, ""};
  }
  return DrawnFault{profile, one_of(kQuickFaults, draws.uniform(3)) + one_of(sensors, draws.uniform(4))};
}

phone::World as_built(const phone::World& meant, uint64_t station_seed) {
  const phone::Draws draws = phone::Draws(station_seed).of("station");
  const auto scaled = [&](float value, double deviation, uint64_t which) {
    return static_cast<float>(value * (1 + deviation * draws.normal(which)));
  };
  phone::World out = meant;
  double length = 0;
  for (uint64_t i = 0; i < 3; ++i) {
    out.up[i] += static_cast<float>(kLevelRad * draws.normal(i));
    length += static_cast<double>(out.up[i]) * out.up[i];
  }
  for (float& up : out.up) up = static_cast<float>(up / std::sqrt(length));
  out.pressure_hpa += static_cast<float>(kPressureHpa * draws.normal(3));
  out.lux = scaled(meant.lux, kLux, 4);
  out.colour_temperature_k = scaled(meant.colour_temperature_k, kColour, 5);
  out.target_cm = scaled(meant.target_cm, kDistance, 6);
  out.temperature_c += static_cast<float>(kTemperatureC * draws.normal(7));
  return out;
}

PhonesFolder::PhonesFolder() : ScratchFolder(memory_or_temporary(), "sensorcal-" + std::to_string(getpid())) {}

// A run leaves the process in a phone's directory.
PhonesFolder::~PhonesFolder() {
  std::error_code ignored;
  fs::current_path("/", ignored);
}

}  // namespace factory
