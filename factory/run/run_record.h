// What a run knows, as its record.
#pragma once

#include "phone/session.h"
#include "run/attempt.h"

namespace factory::plan {

struct RunInfo {
  std::string serial;
  std::string station;
  std::string operator_name;
  Clock::time_point started = Clock::now();
};

record::Run make_record(Session& session, const Plan& plan, const RunInfo& info, const std::vector<StepResult>& steps,
                        Outcome verdict);

}  // namespace factory::plan
