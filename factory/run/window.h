// A run's samples as the library took them, and what became of each.
#pragma once

#include <json/json.h>

#include "phone/held_values.h"
#include "run/calibration.h"

namespace factory::plan {

// The record's `window`; null where the calibration had no run of its own.
Json::Value window_of(Session& session, const Calibration& calibration, const std::vector<HeldValue>& before);

const char* cause_name(Restart::Cause cause);

}  // namespace factory::plan
