// A phone on a simulated station, and plans that run on it, are recorded and replayed.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "files/json_text.h"
#include "folder.h"
#include "mover.h"
#include "record/record_json.h"
#include "run/plan_run.h"
#include "simulator/recording.h"

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

inline factory::record::Measurement measured(const Attempt& attempt, const std::string& name, const std::string& axis) {
  for (const auto& m : attempt.measurements) {
    if (m.name == name && m.axis == axis) return m;
  }
  ADD_FAILURE() << "no " << name << " " << axis;
  return {};
}

// Every plan of a test runs in a session of its own on the same phone, as commands do.
class Station {
 public:
  using Observer = factory::plan::Observer;

  explicit Station(const std::string& profile = "reference") {
    options.phone = folder_.file("phone");
    options.profile = profile;
    options.speed = "max";
    options.seed = 7;
  }

  struct Ran : factory::record::Run {
    const Attempt& attempt(size_t step, size_t number = 0) const { return steps.at(step).attempts.at(number); }
  };

  Ran run(const std::string& steps, Observer* observer = nullptr) { return run(plan_of(steps), observer); }
  Ran run(const factory::plan::Plan& plan, Observer* observer = nullptr) { return run(options, plan, order, observer); }

  // With a recording of it, which may be replayed.
  Ran record(const std::string& steps, Observer* observer = nullptr) {
    Options recorded = options;
    recorded.record = recording();
    return run(recorded, plan_of(steps), order, observer);
  }
  Ran replay() {
    const factory::RunHead head = factory::read_head(recording());
    Options replayed;
    replayed.recording = recording();
    replayed.speed = head.speed;
    return run(replayed, plan_from(head.plan_bytes), head.order, nullptr);
  }
  std::string recording() const { return folder_.file("recording"); }
  std::string trace() const { return recording() + factory::kTraceFile; }

  // How many sensors were on at the end of the recording, or when an attempt began, such as "3.1". The line of one that
  // goes off at once may come ahead of that of its enabling.
  int on(const std::string& attempt = "") const {
    int out = 0;
    std::ifstream in(trace());
    for (std::string text; std::getline(in, text);) {
      Json::Value line;
      EXPECT_TRUE(factory::parse_json(text, &line));
      if (!attempt.empty() && line["attempt"] == attempt) break;
      const bool done = line["answer"].isObject() && line["answer"]["result"] == 0;
      if (line["ask"] == "enable" && done) ++out;
      if (line["ask"] == "disable" && done) --out;
    }
    return out;
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
  Ran run(const Options& wanted, const factory::plan::Plan& plan, const factory::RunOrder& ordered,
          Observer* observer) {
    Session session(wanted);
    if (!movements.empty()) test::Mover::put_between(session, movements);
    Observer silent;
    PlanRun plan_run(session, plan, ordered, observer == nullptr ? silent : *observer);
    const Ran out{plan_run.run()};
    session.fixture().run_ends(out);
    return out;
  }

  const Folder folder_;
};

}  // namespace plan_test
