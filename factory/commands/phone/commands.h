// The commands that a phone needs.
#pragma once

#include <functional>
#include <vector>

#include "cli/command.h"
#include "phone/options.h"
#include "run/plan.h"

namespace factory {

// Runs a plan of single steps: its values are shown, and the record goes to standard output alone.
int run_request(const Options& options, const plan::Plan& plan);

using Runner = std::function<int(const Options& options)>;
using Command = CommandOf<Options>;

// In the order in which --help lists them.
const std::vector<Command>& phone_commands();

Runner set_up_sensors(ArgumentParser parser);
Runner set_up_calibrate(ArgumentParser parser);
Runner set_up_get(ArgumentParser parser);
Runner set_up_set(ArgumentParser parser);
Runner set_up_backlight(ArgumentParser parser);
Runner set_up_plan(ArgumentParser parser);
Runner set_up_report(ArgumentParser parser);
Runner set_up_judge(ArgumentParser parser);
Runner set_up_selftest(ArgumentParser parser);
Runner set_up_sar(ArgumentParser parser);
Runner set_up_tof(ArgumentParser parser);
Runner set_up_channel(ArgumentParser parser);
Runner set_up_collect(ArgumentParser parser);
Runner set_up_hub(ArgumentParser parser);
Runner set_up_check(ArgumentParser parser);
Runner set_up_watch(ArgumentParser parser);

}  // namespace factory
