// What runs a plan and hands its record on, for the commands that do so in their own way.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "commands/phone/commands.h"
#include "record/sink.h"
#include "run/plan_run.h"

namespace factory {

using Sinks = std::vector<std::shared_ptr<record::Sink>>;

// `sensorcal run`, for a program with these sinks.
Runner set_up_run(ArgumentParser parser, const Sinks& sinks);

// Looks at the record once it is told, before files are made of it: may say more beside it. False: it differs from what
// it was to repeat.
using Review = std::function<bool(const record::Run& run, record::Aside* aside)>;

int run_plan(const Options& options, const plan::Plan& plan, const RunOrder& order, const Sinks& sinks,
             const Review& review = {});

}  // namespace factory
