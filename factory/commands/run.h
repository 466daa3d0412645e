// What runs a plan and hands its record on, for the commands that do so in their own way.
#pragma once

#include <json/json.h>

#include <functional>
#include <string>

#include "cli/argument_parser.h"
#include "phone/options.h"
#include "run/plan_run.h"

namespace factory {

// Files made of the record; empty: none.
struct RunOutputs {
  std::string html;
  std::string junit;
  std::string csv;
};

void add_outputs(ArgumentParser parser, RunOutputs* outputs);

// Looks at the record once it is told, before files are made of it: may say more on the page, and gives the exit code.
using Review = std::function<int(const Json::Value& record, Json::Value* page, int code)>;

int run_plan(const Options& options, const plan::Plan& plan, const plan::RunInfo& info, const RunOutputs& outputs,
             const Review& review);

}  // namespace factory
