// The record of a run as JSON: docs/formats/run-record.md.
#pragma once

#include <json/json.h>

#include "phone/session.h"
#include "run/attempt.h"

namespace factory::plan {

struct RunInfo {
  std::string serial;
  std::string station;
  std::string operator_name;
  Clock::time_point started = Clock::now();
};

Json::Value make_record(Session& session, const Plan& plan, const RunInfo& info, const std::vector<StepResult>& steps,
                        Outcome verdict);

}  // namespace factory::plan
