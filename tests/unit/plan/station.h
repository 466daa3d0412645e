// A phone on a simulated station, and plans that run on it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "folder.h"
#include "mover.h"
#include "record/record_json.h"
#include "run/plan_run.h"

namespace plan_test {

using factory::Options;
using factory::Session;
using factory::plan::Attempt;
using factory::plan::Outcome;
using factory::plan::PlanRun;
using factory::record::Step;
using test::Folder;

inline factory::plan::Plan plan_from(const std::string& text) {
  std::vector<std::string> problems;
  factory::plan::Plan plan = factory::plan::parse_plan("test.json", text, &problems);
  EXPECT_THAT(problems, ::testing::IsEmpty());
  return plan;
}

// `steps` is what stands between the brackets, `head` what stands beside them.
inline factory::plan::Plan plan_of(const std::string& steps, const std::string& head = "") {
  return plan_from(R"({"format": "sensorcal.plan/1", "name": "test")" + head + R"(, "steps": [)" + steps + "]}");
}

// Every plan of a test runs in a session of its own on the same phone, as commands do.
class Station {
 public:
  explicit Station(const std::string& profile = "reference") {
    options.phone = folder_.path() + "/phone";
    options.profile = profile;
    options.speed = "max";
    options.seed = 7;
  }

  struct Ran {
    Json::Value record;
    std::vector<Step> steps;
    Outcome verdict = Outcome::failed;
    const Attempt& attempt(size_t step, size_t number = 0) const { return steps.at(step).attempts.at(number); }
  };

  Ran run(const std::string& steps, factory::plan::Observer* observer = nullptr) {
    return run(plan_of(steps), observer);
  }
  Ran run(const factory::plan::Plan& plan, factory::plan::Observer* observer = nullptr) {
    Session session(options);
    if (!movements.empty()) test::Mover::put_between(session, movements);
    factory::plan::Observer silent;
    PlanRun plan_run(session, plan, order, observer == nullptr ? silent : *observer);
    const factory::record::Run ran = plan_run.run();
    return {to_json(ran), ran.steps, ran.outcome};
  }

  // What the hub holds of an inertial sensor.
  std::vector<float> offset(int type) {
    Options plain = options;
    plain.fault.clear();
    plain.replay.clear();
    Session session(plain);
    std::vector<float> out(3);
    session.cal().cal_api->getAMGOffset_api(type, out.data());
    return out;
  }

  Options options;
  std::vector<test::Movement> movements;
  factory::RunOrder order{{"S1", "station 4", "me"}};

 private:
  const Folder folder_;
};

}  // namespace plan_test
