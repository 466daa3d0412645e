#include "line/phone_run.h"
#include "files/words.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string_view>

#include "phone/session.h"
#include "run/plan_run.h"
#include "sensors/sensor.h"
#include "simulator/simulated_phone.h"

namespace factory {
namespace assets {
extern const std::string_view usual_plan_json;
}

namespace line {

PhoneRun run_phone(const plan::Plan& plan, const PhoneJob& job) {
  Options options;
  options.phone = job.directory;
  options.profile = job.profile;
  options.seed = job.seed;
  options.speed = "max";
  options.station = job.station_seed;
  if (!job.fault.empty()) options.fault = {job.fault};
  Session session(options);
  RunOrder order;
  order.serial = job.serial;
  order.station = job.station;
  plan::Observer silent;
  plan::PlanRun run(session, plan, order, silent);
  const record::Run record = run.run();
  // Also one that came too late for this run.
  return {record, session.stop_watching()};
}

std::string serial_of(uint64_t seed) {
  char text[32];
  snprintf(text, sizeof text, "P%010llu", static_cast<unsigned long long>(seed));
  return text;
}

std::string station_name(int station) { return "line-" + std::to_string(station + 1); }

// Far from the seeds of phones.
uint64_t station_seed(uint64_t seed, int station) {
  constexpr uint64_t kStations = uint64_t{1} << 40U;
  return kStations + seed * 1000 + static_cast<uint64_t>(station);
}

std::vector<std::string> sensors_of(const plan::Plan& plan) {
  std::vector<std::string> out;
  for (const plan::Block& block : plan.blocks) {
    for (const plan::Step& step : block.steps) {
      if (step.kind != plan::StepKind::calibrate && step.kind != plan::StepKind::verify) continue;
      const std::string tag = tag_of(step.type);
      if (std::find(out.begin(), out.end(), tag) == out.end()) out.push_back(tag);
    }
  }
  return out;
}

plan::Plan usual_plan() {
  std::vector<std::string> problems;
  return plan::parse_plan("inertial.json", std::string(assets::usual_plan_json), &problems);
}

std::string absolute_profile(const std::string& profile) {
  const std::vector<std::string> known = known_profiles();
  if (profile.empty()) return "reference";
  if (std::find(known.begin(), known.end(), profile) != known.end()) return profile;
  const std::string file = std::filesystem::absolute(profile).lexically_normal().string();
  std::error_code ignored;
  if (!std::filesystem::exists(file, ignored))
    throw AppError(kUsage, "there is no profile '" + profile + "' and no file " + file + or_nearest(profile, known));
  return file;
}

}  // namespace line
}  // namespace factory
