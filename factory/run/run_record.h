// What a run knows, as its record.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "phone/session.h"
#include "run/attempt.h"

namespace factory::plan {

struct RunInfo : RunOrder {
  Clock::time_point started = Clock::now();
};

// `world`: what the fixture was set to.
record::Run make_record(Session& session, const Plan& plan, const RunInfo& info,
                        const std::map<std::string, std::string>& world, const std::vector<StepResult>& steps,
                        Outcome verdict);

}  // namespace factory::plan
