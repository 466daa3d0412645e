#include "station.h"

#include <map>

#include "mover.h"
#include "record/run_text.h"
#include "run/plan_run.h"

namespace acceptance {
namespace {

using factory::plan::Attempt;
using factory::plan::Outcome;
using factory::plan::StepKind;
using factory::plan::StepResult;

std::string write_profile(const Case& phone, const std::string& directory) {
  if (!phone.flaw) return phone.profile;
  const std::string path = directory + "-profile.json";
  factory::write_flawed_profile(path, phone.profile, *phone.flaw);
  return path;
}

const factory::plan::Plan& plan_of(const std::string& profile) {
  static std::map<std::string, factory::plan::Plan> plans;
  const auto found = plans.find(profile);
  if (found != plans.end()) return found->second;
  return plans.emplace(profile, factory::plan::load_plan(PROJECT_DIR "/plans/" + profile + ".json")).first->second;
}

}  // namespace

RunResult run_plan(const Case& phone, const std::string& directory) {
  const factory::plan::Plan& plan = plan_of(phone.profile);
  factory::Options options;
  options.phone = directory;
  options.profile = write_profile(phone, directory);
  options.seed = phone.seed;
  options.speed = "max";
  factory::Session session(options);
  session.require_ready();
  Mover mover(session, phone.movements);
  factory::plan::Observer silent;
  factory::plan::PlanRun run(session, plan, {}, silent);
  run.run();
  mover.rest();

  RunResult out;
  out.passed = run.verdict() == Outcome::passed;
  for (const StepResult& step : run.steps()) {
    if (step.attempts.empty() || step.outcome == Outcome::passed || step.outcome == Outcome::marginal) continue;
    const bool calibration = step.step->kind == StepKind::calibrate;
    out.failures.push_back(
        {step.step->type, calibration,
         factory::record::attempt_text(step.index, plan.step_count(), step.step->name, step.attempts.back())});
  }
  return out;
}

}  // namespace acceptance
