// Set-up of each command; see command.h.
#pragma once

#include <functional>

#include "cli/argument_parser.h"
#include "phone/options.h"
#include "run/plan.h"

namespace factory {

// Runs a plan of single steps: its values are shown, and the record goes to standard output alone.
int run_request(const Options& options, const plan::Plan& plan);

using Runner = std::function<int(const Options& options)>;

Runner set_up_sensors(ArgumentParser parser);
Runner set_up_calibrate(ArgumentParser parser);
Runner set_up_get(ArgumentParser parser);
Runner set_up_set(ArgumentParser parser);
Runner set_up_backlight(ArgumentParser parser);
Runner set_up_run(ArgumentParser parser);
Runner set_up_show(ArgumentParser parser);
Runner set_up_stats(ArgumentParser parser);
Runner set_up_history(ArgumentParser parser);
Runner set_up_sync(ArgumentParser parser);
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
Runner set_up_man(ArgumentParser parser);
Runner set_up_completion(ArgumentParser parser);

}  // namespace factory
