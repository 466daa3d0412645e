#include "simulator/flaw.h"

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>

#include "files/json_text.h"

namespace factory {
namespace {

// The limits are those of the shipped plans; of the proximity sensor the library's 50 counts between target and
// crosstalk, at 3 cm.
constexpr double kBeyond = 1.1;
enum class Part { bias, gain, channel_gain, reflection };
struct FlawRow {
  const char* sensor;
  const char* chip;
  Part part;
  double low;
  double high;
  int axes;
  const char* unit;
  double usual;  // deviation of the other axes
};
constexpr FlawRow kFlaws[] = {
    {"Acc", "imu accelerometer", Part::bias, -1, 1, 3, "m/s^2", 0.15},
    {"Acc2", "second accelerometer", Part::bias, -1, 1, 3, "m/s^2", 0.15},
    {"Gyr", "imu gyroscope", Part::bias, -0.1, 0.1, 3, "rad/s", 0.01},
    {"Gyr2", "second gyroscope", Part::bias, -0.1, 0.1, 3, "rad/s", 0.01},
    {"Bar", "barometer", Part::bias, -3, 3, 1, "hPa", 0},
    {"Lux", "main light", Part::gain, 0.5, 2, 1, "", 0},
    {"Lux_F", "light F", Part::gain, 0.5, 2, 1, "", 0},
    {"Lux_B", "light B", Part::gain, 0.5, 2, 1, "", 0},
    {"Lux_sec", "secondary light", Part::gain, 0.5, 2, 1, "", 0},
    {"Lux_pri2", "second primary light", Part::gain, 0.5, 2, 1, "", 0},
    {"CCT_F_strm", "colour F", Part::channel_gain, 0.5, 2, 5, "", 0},
    {"CCT_B_strm", "colour B", Part::channel_gain, 0.5, 2, 5, "", 0},
    {"33171007", "main light", Part::channel_gain, 0.5, 2, 5, "", 0},
    {"Prx", "proximity", Part::reflection, 50, 0, 1, "counts", 0},
};

std::string number(double value) {
  char text[32];
  snprintf(text, sizeof text, "%.6g", value);
  return text;
}

std::string list(const std::vector<double>& values) {
  std::string out;
  for (const double value : values) out += (out.empty() ? "[" : ", ") + number(value);
  return out + "]";
}

// The value of the part that is wrong: a scale beyond its limit comes from a gain on the other side of 1.
double wrong_value(const FlawRow& row, bool high) {
  if (row.part == Part::bias) return kBeyond * (high ? row.high : row.low);
  if (row.part == Part::reflection) return 9 * row.low / kBeyond;
  return 1 / (high ? row.high * kBeyond : row.low / kBeyond);
}

}  // namespace

std::vector<std::string> flaw_sensors() {
  std::vector<std::string> out;
  for (const FlawRow& row : kFlaws) out.emplace_back(row.sensor);
  return out;
}

Flaw draw_flaw(const phone::Draws& draws, uint64_t which, const std::string& profile) {
  const FlawRow& row = kFlaws[which % std::size(kFlaws)];
  const bool high = draws.uniform(0) < 0.5;
  const auto axis = static_cast<size_t>(draws.uniform(1) * row.axes);
  double value = wrong_value(row, high);
  // With this one's large counts the mean of a run scatters by 3: a tenth of the limit would drown in that.
  if (row.part == Part::reflection && profile == "dov") value *= 0.75;
  std::string chips;
  const auto chip = [](const std::string& name, const std::string& key, const std::string& content) {
    return "\"" + name + "\": {\"" + key + "\": " + content + "}";
  };
  // On one profile lux is made of channels, and one chip's scales are applied to another's: gains without an error
  // there leave the flaw as large as it is meant.
  const std::string no_other_gain = chip("colour F", "channel_gain", "1");
  switch (row.part) {
    case Part::bias: {
      std::vector<double> axes(static_cast<size_t>(row.axes));
      for (size_t i = 0; i < axes.size(); ++i) axes[i] = i == axis ? value : row.usual * draws.normal(10 + i) / 2;
      chips = chip(row.chip, "bias", list(axes));
      break;
    }
    case Part::gain:
      chips = "\"" + std::string(row.chip) + R"(": {"channel_gain": 1, "gain": )" + number(value) + "}";
      chips += ", " + no_other_gain;
      break;
    case Part::channel_gain: {
      constexpr size_t kChannels = 7;
      std::vector<double> gains(kChannels, 1.0);
      gains[axis] = value;
      chips = chip(row.chip, "channel_gain", list(gains));
      if (std::string(row.chip) == "main light") chips += ", " + no_other_gain;
      break;
    }
    case Part::reflection:
      chips = chip(row.chip, "reflection", number(value));
      break;
  }
  const std::string place = row.axes > 1 ? " " + std::to_string(axis + 1) : "";
  return {row.sensor,
          (row.part == Part::bias         ? "bias"
           : row.part == Part::reflection ? "reflection"
                                          : "gain") +
              place + " " + number(value) + (*row.unit != '\0' ? " " : "") + row.unit,
          chips};
}

void write_flawed_profile(const std::string& file, const std::string& profile, const Flaw& flaw) {
  std::ofstream out(file);
  out << R"({"extends": )" << json_line(profile) << R"(, "chips": {)" << flaw.chips << "}}\n";
}

}  // namespace factory
