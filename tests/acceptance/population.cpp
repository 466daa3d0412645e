#include "population.h"

#include <cmath>
#include <cstdio>
#include <iterator>

#include "phone/core/random.h"
#include "simulator/flaw.h"

namespace acceptance {
namespace {

constexpr const char* kProfiles[] = {
    "reference", "normal-proximity", "tof", "hub-colour", "colour-backlight", "dov", "raz", "pok", "tessak", "velra"};

// Of ten phones in a row.
constexpr Population kMix[] = {Population::good, Population::beyond, Population::moved, Population::good,
                               Population::good, Population::moved,  Population::good,  Population::beyond,
                               Population::good, Population::moved};

std::string number(double value) {
  char text[32];
  snprintf(text, sizeof text, "%.6g", value);
  return text;
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
    double until;  // of the uniform draw
  };
  constexpr Row kRows[] = {{"vibration", 0.02, 5, 0.3},
                           {"rotation", 0.0005, 2, 0.6},
                           {"up", 0.05, 30, 0.8},
                           {"pressure", 0.05, 5, 0.85},
                           {"lux", 0.2, 1, 1}};
  const Row* row = kRows;
  while (draws.uniform(0) >= row->until) ++row;
  const double size = spread(row->low, row->high, draws.uniform(1));
  Movement out;
  out.key = row->key;
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
    out.flaw = factory::draw_flaw(draws.of("flaw"), turn + round % std::size(kProfiles), out.profile);
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
