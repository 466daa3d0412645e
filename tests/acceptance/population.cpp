#include "population.h"

#include <cmath>
#include <cstdio>
#include <iterator>

#include "phone/core/random.h"

namespace acceptance {
namespace {

constexpr const char* kProfiles[] = {
    "reference", "normal-proximity", "tof", "hub-colour", "colour-backlight", "dov", "raz", "pok", "tessak", "velra"};

// Of ten phones in a row.
constexpr Population kMix[] = {Population::good, Population::beyond, Population::moved, Population::good,
                               Population::good, Population::moved,  Population::good,  Population::beyond,
                               Population::good, Population::moved};

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

// Evenly on a logarithmic scale.
double spread(double low, double high, double uniform) { return low * std::pow(high / low, uniform); }

std::string direction(const phone::Draws& draws, double length) {
  double v[3];
  double sum = 0;
  for (int i = 0; i < 3; ++i) sum += std::pow(v[i] = draws.normal(static_cast<uint64_t>(i)), 2);
  for (double& x : v) x *= length / std::sqrt(sum);
  return number(v[0]) + "," + number(v[1]) + "," + number(v[2]);
}

// From a touch that hardly shows to a phone that is carried away.
Movement draw_movement(const phone::Draws& draws) {
  struct Row {
    const char* key;
    double low;
    double high;
    const char* still;
    double until;  // of the uniform draw
  };
  constexpr Row kRows[] = {{"vibration", 0.02, 5, "0", 0.3},
                           {"rotation", 0.0005, 2, "0,0,0", 0.6},
                           {"up", 0.05, 30, "flat", 0.8},
                           {"pressure", 0.05, 5, "1013.25", 0.85},
                           {"lux", 0.2, 1, "200", 1}};
  const Row* row = kRows;
  while (draws.uniform(0) >= row->until) ++row;
  const double size = spread(row->low, row->high, draws.uniform(1));
  Movement out;
  out.key = row->key;
  out.still = row->still;
  const std::string key = row->key;
  out.moved = key == "rotation"   ? direction(draws.of("direction"), size)
              : key == "up"       ? "tilted:" + number(size)
              : key == "pressure" ? number(1013.25 + (draws.uniform(2) < 0.5 ? -size : size))
              : key == "lux"      ? number(200 * size)
                                  : number(size);
  // The plan's sensors follow each other at fixed numbers where nothing is repeated: inertial, then the others.
  constexpr int kInertialEvents = 1050;
  constexpr int kAllEvents = 1500;
  const bool inertial = key == "vibration" || key == "rotation" || key == "up";
  const int low = inertial ? 1 : kInertialEvents;
  const int high = inertial ? kInertialEvents : kAllEvents;
  out.first = low + static_cast<int>(draws.uniform(3) * (high - low));
  // A lamp or an air pressure that is wrong from a run's first sample to the last one of its verification is a wrong
  // fixture, which only the fixture's operator can know: these change for less than that.
  constexpr int kLongest = 300;
  constexpr int kPartOfRun = 12;
  out.length = static_cast<int>(spread(1, inertial ? kLongest : kPartOfRun, draws.uniform(4)));
  return out;
}

}  // namespace

const char* name_of(Population population) {
  constexpr const char* kNames[] = {"good", "beyond", "moved"};
  return kNames[static_cast<int>(population)];
}

std::string Case::text() const {
  std::string out = "seed " + std::to_string(seed) + ", " + profile + ", " + name_of(population);
  if (flaw) out += ": " + flaw->sensor + " " + flaw->what;
  for (const Movement& m : movements) {
    out += (&m == movements.data() ? ": " : "; ") + m.key + " " + m.moved + " from event " + std::to_string(m.first) +
           " for " + std::to_string(m.length);
  }
  return out;
}

Case make_case(uint64_t seed, uint64_t number) {
  Case out;
  out.number = number;
  out.seed = seed + number;
  // Each run of ten is another profile, so that every population meets every profile.
  const uint64_t round = out.seed / std::size(kMix);
  out.population = kMix[out.seed % std::size(kMix)];
  out.profile = kProfiles[round % std::size(kProfiles)];
  const phone::Draws draws = phone::Draws(out.seed).of("acceptance");
  if (out.population == Population::beyond) {
    // Two of ten are flawed; counted through, so that each kind has its turn on each profile.
    const uint64_t turn = round / std::size(kProfiles) * 2 + (out.seed % std::size(kMix) == 1 ? 0 : 1);
    out.flaw = draw_flaw(draws.of("flaw"), turn + round % std::size(kProfiles), out.profile);
  }
  if (out.population == Population::moved) {
    const int count = 1 + static_cast<int>(draws.uniform(0) * 3);
    for (int i = 0; i < count; ++i) {
      out.movements.push_back(draw_movement(draws.of("movement").of(static_cast<uint64_t>(i))));
    }
  }
  return out;
}

}  // namespace acceptance
