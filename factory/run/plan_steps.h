// The steps of a plan, read and checked kind by kind.
#pragma once

#include "run/plan_json.h"

namespace factory::plan {

Step read_step(PlanJson& json, const Json::Value& value, const std::string& where);

}  // namespace factory::plan
