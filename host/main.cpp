// `sensorcal` on a Linux host: both halves, and simulated phones.
#include <CLI/CLI.hpp>
#include <iostream>
#include <string_view>

#include "cli/command_line.h"
#include "commands/phone/program.h"
#include "commands/station/commands.h"
#include "simulator/simulated_phone.h"
#include "simulator_commands/simulator_commands.h"

namespace {

using factory::Options;
using factory::ValueKind;

void add_options(CLI::App& app, Options* options) {
  app.add_option("--phone", options->phone, "phone directory (default: $SENSORCAL_PHONE, else ./phone)");
  std::string profiles;
  for (const std::string& name : factory::known_profiles()) profiles += (profiles.empty() ? "" : ", ") + name;
  app.add_option("--profile", options->profile, "profile of a new phone: " + profiles + ", or a JSON file");
  app.add_option("--seed", options->seed, "draws a new phone's sensor errors")->check(CLI::NonNegativeNumber);
  app.add_option("--speed", options->speed, "sensor time over real time: a number, or max")->capture_default_str();
  app.add_option("--fixture", options->fixture,
                 "who sets the fixture: simulated, or operator, who is asked on the terminal and confirms")
      ->check(CLI::IsMember({"simulated", "operator"}))
      ->default_str("simulated");
  app.add_option("--replay", options->replay,
                 "a recording in place of a sensor, TAG=FILE[,key=value]...; may be repeated")
      ->take_all()
      ->allow_extra_args(false);
  app.add_option("--fault", options->fault,
                 "a fault of the phone, NAME[:ARGUMENTS]; may be repeated; `help` lists them")
      ->take_all()
      ->allow_extra_args(false);
  app.add_option("--hub-log", options->hub_log, "writes the hub messages to a file, one JSON object a line");
}

std::vector<std::string> words(ValueKind kind) {
  if (kind == ValueKind::profile) return factory::known_profiles();
  if (kind == ValueKind::speed) return {"1", "10", "max"};
  if (kind != ValueKind::fault) return {};
  std::vector<std::string> out = factory::known_faults();
  for (std::string& line : out) line.erase(line.find_first_of(" :["));
  out.emplace_back("help");
  return out;
}

// `--fault help`, beside whatever command.
bool asks_for_faults(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    if (argument == "--fault=help") return true;
    if (argument == "--fault" && i + 1 < argc && std::string_view(argv[i + 1]) == "help") return true;
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  if (asks_for_faults(argc, argv)) {
    std::string text;
    for (const std::string& line : factory::known_faults()) text += line + "\n";
    std::cout << factory::fit_help(text);
    return 0;
  }
  factory::Program program{add_options, {}, words};
  for (const auto& [name, summary, examples, set_up] : factory::station_commands())
    program.commands.push_back({name, summary, examples, set_up});
  for (const factory::Command& command : factory::simulator_commands()) program.commands.push_back(command);
  return run_program(argc, argv, program);
}
