// Every plan that is shipped passes on a good phone of the profile it is named after.
#include "run/calibration.h"
#include "simulator/simulated_phone.h"
#include "station.h"

namespace plan_test {
namespace {

std::vector<std::string> shipped_plans() {
  std::vector<std::string> out;
  for (const auto& entry : std::filesystem::directory_iterator(PROJECT_DIR "/plans")) {
    if (entry.path().extension() == ".json") out.push_back(entry.path().stem());
  }
  return out;
}

class ShippedPlan : public ::testing::TestWithParam<std::string> {};

TEST_P(ShippedPlan, PassesOnItsProfile) {
  const std::string profile = GetParam() == "inertial" ? "reference" : GetParam();
  for (const uint64_t seed : {3U, 40U, 41U}) {
    Station station(profile);
    station.options.seed = seed;
    const factory::plan::Plan plan = factory::plan::load_plan(PROJECT_DIR "/plans/" + GetParam() + ".json");
    Session session(station.options);
    factory::plan::Observer observer;
    PlanRun run(session, plan, {}, observer);
    run.run();
    EXPECT_EQ(run.verdict(), Outcome::passed) << "seed " << seed;
    for (const StepResult& step : run.steps()) {
      for (const Attempt& attempt : step.attempts) {
        EXPECT_THAT(attempt.reasons, ::testing::IsEmpty()) << step.step->name << ", seed " << seed;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Plans, ShippedPlan, ::testing::ValuesIn(shipped_plans()), [](const auto& plan) {
  std::string name = plan.param;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
});

TEST(ShippedPlans, ThereIsOneForEveryProfile) {
  const std::vector<std::string> plans = shipped_plans();
  for (const std::string& profile : factory::known_profiles()) {
    EXPECT_THAT(plans, ::testing::Contains(profile));
  }
}

}  // namespace
}  // namespace plan_test
