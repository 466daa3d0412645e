#include "phones.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>
#include <optional>

#include "mover.h"
#include "phone/core/random.h"
#include "record/run_text.h"
#include "residuals.h"
#include "run/plan_run.h"
#include "sensors/sensor.h"
#include "simulator/drawn_phone.h"

namespace acceptance {
namespace {

using ::android::sp;
using factory::plan::Outcome;
using test::Movement;

constexpr const char* kProfiles[] = {
    "reference", "normal-proximity", "tof", "hub-colour", "colour-backlight", "dov", "raz", "pok", "tessak", "velra"};
// Of ten phones in a row.
constexpr const char* kMix[] = {"good", "beyond", "moved", "good", "good", "moved", "good", "beyond", "good", "moved"};

struct Case {
  uint64_t seed = 0;
  std::string population;
  std::string profile;
  std::optional<factory::Flaw> flaw;  // an error of one part that lies a tenth beyond what is allowed
  std::vector<Movement> movements;
};

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
    double low, high;
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
  const std::string key = row->key;
  Movement out{key, number(size), 0, 0};
  if (key == "rotation") out.moved = direction(draws.of("direction"), size);
  if (key == "up") out.moved = "tilted:" + number(size);
  if (key == "pressure") out.moved = number(1013.25 + (draws.uniform(2) < 0.5 ? -size : size));
  if (key == "lux") out.moved = number(200 * size);
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

Case make_case(uint64_t seed) {
  Case out;
  out.seed = seed;
  // Each run of ten is another profile, so that every population meets every profile.
  const uint64_t round = seed / std::size(kMix);
  out.population = kMix[seed % std::size(kMix)];
  out.profile = kProfiles[round % std::size(kProfiles)];
  const phone::Draws draws = phone::Draws(seed).of("acceptance");
  if (out.population == "beyond") {
    // Two of ten are flawed; counted through, so that each kind has its turn on each profile.
    const uint64_t turn = round / std::size(kProfiles) * 2 + (seed % std::size(kMix) == 1 ? 0 : 1);
    out.flaw = factory::draw_flaw(draws.of("flaw"), turn + round % std::size(kProfiles), out.profile);
  }
  if (out.population == "moved") {
    const int count = 1 + static_cast<int>(draws.uniform(0) * 3);
    for (int i = 0; i < count; ++i) {
      out.movements.push_back(draw_movement(draws.of("movement").of(static_cast<uint64_t>(i))));
    }
  }
  return out;
}

std::string text_of(const Case& phone) {
  std::string out = "seed " + std::to_string(phone.seed) + ", " + phone.profile + ", " + phone.population;
  if (phone.flaw) out += ": " + phone.flaw->sensor + " " + phone.flaw->what;
  for (const Movement& m : phone.movements) {
    out += "; " + m.key + " " + m.moved + " from event " + std::to_string(m.first) + " for " + std::to_string(m.length);
  }
  return out;
}

struct Failure {
  int type = 0;              // of the step's sensor; 0 where it has none
  bool calibration = false;  // neither a look at what is stored nor a verification
  std::string text;          // as the operator reads it
};

struct Ran {
  bool passed = false;
  std::vector<Failure> failures;  // last attempts that did not pass
};

const factory::plan::Plan& plan_of(const std::string& profile) {
  static std::map<std::string, factory::plan::Plan> plans;
  const auto found = plans.find(profile);
  if (found != plans.end()) return found->second;
  return plans.emplace(profile, factory::plan::load_plan(PROJECT_DIR "/plans/" + profile + ".json")).first->second;
}

Ran run_plan(const Case& phone, const std::string& directory) {
  const factory::plan::Plan& plan = plan_of(phone.profile);
  factory::Options options;
  options.phone = directory;
  options.profile = phone.profile;
  if (phone.flaw) {
    options.profile = directory + "-profile.json";
    factory::write_flawed_profile(options.profile, phone.profile, *phone.flaw);
  }
  options.seed = phone.seed;
  options.speed = "max";
  factory::Session session(options);
  session.require_ready();
  const sp<test::Mover> mover = test::Mover::put_between(session, phone.movements);
  factory::plan::Observer silent;
  factory::plan::PlanRun run(session, plan, {}, silent);
  const factory::record::Run ran = run.run();
  mover->rest();

  Ran out;
  out.passed = ran.outcome == Outcome::passed;
  for (const factory::record::Step& step : ran.steps) {
    if (step.attempts.empty() || step.outcome == Outcome::passed || step.outcome == Outcome::marginal) continue;
    std::string text = factory::record::attempt_text(step.index, plan.step_count(), step.name, step.attempts.back());
    std::replace(text.begin(), text.end(), '\n', ' ');
    out.failures.push_back({step.tag.empty() ? 0 : factory::parse_tag(step.tag), step.kind == "calibrate", text});
  }
  return out;
}

// A good phone passes, a flawed one fails for its flaw and keeps nothing of that sensor; a moved one may do either.
std::vector<std::string> misses_of(const Case& phone, const Ran& run) {
  std::vector<std::string> out;
  if (phone.population == "good") {
    for (const Failure& failure : run.failures) out.push_back("good, but failed: " + failure.text);
    if (!run.passed && run.failures.empty()) out.emplace_back("good, but failed without a reason");
  }
  if (!phone.flaw) return out;
  if (run.passed) out.push_back("passed in spite of " + phone.flaw->sensor + " " + phone.flaw->what);
  const int type = factory::parse_tag(phone.flaw->sensor);
  bool named = false;
  for (const Failure& failure : run.failures) {
    if (!failure.calibration) continue;
    named |= failure.type == type && failure.text.find(factory::name_of(type)) != std::string::npos;
    // What a group did not come to shows in later steps too.
    if (failure.type != type) out.push_back("its flaw is elsewhere: " + failure.text);
  }
  if (!named) out.push_back("no calibration failed that names " + phone.flaw->sensor);
  return out;
}

// Of one value that the hub keeps.
std::vector<std::string> misses_of(const Case& phone, const Ran& run, const Residual& residual, bool stored) {
  std::vector<std::string> out;
  const bool flawed = phone.flaw && residual.sensor == phone.flaw->sensor;
  if (!stored && run.passed) out.push_back("passed, but nothing is stored: " + residual.sensor);
  if (stored && flawed) out.push_back("kept in spite of its flaw: " + residual.sensor);
  // What one look could not see, a later one of the plan did: the phone failed for it, and nobody takes it for good.
  const bool seen = std::any_of(run.failures.begin(), run.failures.end(), [&](const Failure& failure) {
    return !failure.calibration && failure.text.find(residual.sensor) != std::string::npos;
  });
  if (stored && residual.exceeds() && !seen) {
    out.push_back("kept with a residual of " + number(residual.value) + " " + residual.unit + " over " +
                  number(residual.limit) + ": " + residual.sensor);
  }
  return out;
}

}  // namespace

bool is_moved(uint64_t seed) { return kMix[seed % std::size(kMix)] == std::string("moved"); }

Json::Value try_phone(uint64_t seed, const std::string& directory) {
  const Case phone = make_case(seed);
  Json::Value out;
  out["seed"] = Json::UInt64{seed};
  out["phone"] = text_of(phone);
  out["population"] = phone.population;
  out["misses"] = out["residuals"] = Json::arrayValue;
  try {
    const Ran run = run_plan(phone, directory);
    out["passed"] = run.passed;
    for (const std::string& miss : misses_of(phone, run)) out["misses"].append(miss);
    for (const Residual& residual : measure_residuals(directory)) {
      // A scale may be found to be exactly the one that the hub comes with: on a phone that passed, that is a result.
      const bool stored = residual.stored || (run.passed && residual.set);
      for (const std::string& miss : misses_of(phone, run, residual, stored)) out["misses"].append(miss);
      if (stored) out["residuals"].append(to_json(residual));
    }
  } catch (const std::exception& error) {
    out["misses"].append(std::string("not judged: ") + error.what());
  }
  std::filesystem::current_path("/");  // the application stood in the phone
  std::filesystem::remove_all(directory);
  std::filesystem::remove(directory + "-profile.json");
  return out;
}

}  // namespace acceptance
