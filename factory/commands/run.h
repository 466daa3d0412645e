// What runs a plan and hands its record on, for the commands that do so in their own way.
#pragma once

#include <functional>

#include "commands/outputs.h"
#include "phone/options.h"
#include "run/plan_run.h"

namespace factory {

// Looks at the record once it is told, before files are made of it: may say more beside it. False: it differs from what
// it was to repeat.
using Review = std::function<bool(const record::Run& run, Aside* aside)>;

int run_plan(const Options& options, const plan::Plan& plan, const plan::RunInfo& info, const RunOutputs& outputs,
             const Review& review);

}  // namespace factory
