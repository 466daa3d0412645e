// The commands that a phone needs, and the program around them.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "cli/command.h"
#include "phone/options.h"
#include "record/sink.h"
#include "run/plan_run.h"

namespace factory {

using Runner = std::function<int(const Options& options)>;
using Command = CommandOf<Options>;

// In the order in which --help lists them.
const std::vector<Command>& phone_commands();

// Runs a plan of single steps: its values are shown, and the record goes to standard output alone.
int run_request(const Options& options, const plan::Plan& plan);

using Sinks = std::vector<std::shared_ptr<record::Sink>>;

// `sensorcal run`, for a program with these sinks, and with what it makes of the options for a run.
using Prepare = std::function<Options(Options options, const plan::Plan& plan, const RunOrder& order)>;
Runner set_up_run(ArgumentParser parser, const Sinks& sinks, const Prepare& prepare = {});

// Looks at the record once it is told, before files are made of it: may say more beside it. False: it differs from what
// it was to repeat.
using Review = std::function<bool(const record::Run& run, record::Aside* aside)>;

int run_plan(const Options& options, const plan::Plan& plan, const RunOrder& order, const Sinks& sinks,
             const Review& review = {});

// What a program has beside the phone's half.
struct Program {
  // Options of the phones that it can make.
  std::function<void(CLI::App& app, Options* options)> add_options = [](CLI::App&, Options*) {};
  // A command of the same name takes the place of a phone's.
  std::vector<Command> commands;
  // By the option: what it prints for the value `help`.
  std::map<std::string, std::function<std::string()>> helps;
};

int run_program(int argc, char** argv, const Program& program);

Runner set_up_sensors(ArgumentParser parser);
Runner set_up_calibrate(ArgumentParser parser);
Runner set_up_get(ArgumentParser parser);
Runner set_up_set(ArgumentParser parser);
Runner set_up_files(ArgumentParser parser);
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
