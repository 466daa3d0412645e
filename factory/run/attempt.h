// One attempt at a step, and the steps of a run with all their attempts.
#pragma once

#include <json/json.h>

#include <chrono>
#include <string>
#include <vector>

#include "phone/fixture.h"
#include "phone/held_values.h"
#include "run/measurement.h"
#include "run/plan.h"

namespace factory::plan {

using Clock = std::chrono::system_clock;

struct Attempt {
  int number = 1;
  Clock::time_point started = Clock::now();
  double seconds = 0;
  Outcome outcome = Outcome::passed;
  std::vector<std::string> reasons;
  std::vector<std::string> hints;
  std::vector<std::string> notes;
  std::vector<Measurement> measurements;
  int restarts[3] = {};  // by Restart::Cause
  Json::Value window;    // null without samples

  bool changes_hub = false;  // the following mean something
  std::vector<HeldValue> before;
  std::vector<HeldValue> after;
  bool kept = false;
  bool put_back = false;
  std::vector<std::string> irreversible;  // told beforehand
  bool unreachable = false;               // the hub or a service did not answer, or the fixture is not as it should be
  bool refused = false;                   // the phone has no such step

  std::vector<HubMessage> hub;
  std::vector<LogLine> log;
  int log_dropped = 0;

  void fail(const std::string& reason, const std::string& hint = "");
};

struct StepResult {
  const Step* step = nullptr;
  std::string group;
  int index = 1;
  Outcome outcome = Outcome::skipped;  // of the last attempt
  std::vector<Attempt> attempts;
};

}  // namespace factory::plan
