// Set-up of each command; see command.h.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>

#include "options.h"

namespace factory {

using Runner = std::function<int(const Options& options)>;

Runner set_up_sensors(CLI::App& app);
Runner set_up_calibrate(CLI::App& app);
Runner set_up_get(CLI::App& app);
Runner set_up_set(CLI::App& app);
Runner set_up_backlight(CLI::App& app);
Runner set_up_run(CLI::App& app);
Runner set_up_replay(CLI::App& app);
Runner set_up_stats(CLI::App& app);
Runner set_up_history(CLI::App& app);
Runner set_up_sync(CLI::App& app);
Runner set_up_grr(CLI::App& app);
Runner set_up_line(CLI::App& app);
Runner set_up_report(CLI::App& app);
Runner set_up_judge(CLI::App& app);
Runner set_up_selftest(CLI::App& app);
Runner set_up_sar(CLI::App& app);
Runner set_up_tof(CLI::App& app);
Runner set_up_channel(CLI::App& app);
Runner set_up_collect(CLI::App& app);
Runner set_up_hub(CLI::App& app);
Runner set_up_call(CLI::App& app);
Runner set_up_check(CLI::App& app);
Runner set_up_watch(CLI::App& app);
Runner set_up_man(CLI::App& app);
Runner set_up_completion(CLI::App& app);
Runner set_up_reboot(CLI::App& app);
Runner set_up_factory_reset(CLI::App& app);

}  // namespace factory
