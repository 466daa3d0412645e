// `sensorcal` on a Linux host: both halves, and simulated phones.
#include <SensorType.h>

#include "cli/argument_parser.h"
#include "commands/phone/commands.h"
#include "commands/station/commands.h"
#include "files/words.h"
#include "simulator/simulated_phone.h"
#include "simulator_commands/simulator_commands.h"

namespace {

using factory::Options;

void add_options(CLI::App& app, Options* options) {
  factory::ArgumentParser parser(app);
  parser.add_option("--phone", options->phone, "phone directory (default: $SENSORCAL_PHONE, else ./phone)");
  const std::string profiles = factory::joined(factory::known_profiles(), ", ");
  parser.add_option("--profile", options->profile, "profile of a new phone: " + profiles + ", or a JSON file");
  parser.add_option("--seed", options->seed, "draws a new phone's sensor errors", {.low = 0});
  parser.add_option("--speed", options->speed, "sensor time over real time: a number, or max", {.shows_default = true});
  parser.add_option("--fixture", options->fixture,
                    "who sets the fixture: simulated, or operator, who is asked on the terminal and confirms",
                    {.default_text = "simulated", .one_of = {"simulated", "operator"}});
  parser.add_option("--replay", options->replay,
                    "a recording in place of a sensor, TAG=FILE[,key=value]...; may be repeated", {.repeated = true});
  parser.add_option("--fault", options->fault,
                    "a fault of the phone, NAME[:ARGUMENTS]; may be repeated; `help` lists them", {.repeated = true});
  parser.add_option("--hub-log", options->hub_log, "writes the hub messages to a file, one JSON object a line");
}

// What a shell may offer.
std::vector<std::string> words_for(const std::string& argument) {
  std::vector<std::string> out;
  if (argument == "TAG" || argument == "SENSOR" || argument == "--sensor") {
    for (const sensor_type::TagRow& row : sensor_type::kTags) out.emplace_back(row.tag);
  } else if (argument == "--profile") {
    out = factory::known_profiles();
  } else if (argument == "--speed") {
    out = {"1", "10", "max"};
  } else if (argument == "--fault") {
    out = factory::known_faults();
    for (std::string& line : out) line.erase(line.find_first_of(" :["));
    out.emplace_back("help");
  }
  return out;
}

}  // namespace

int main(int argc, char** argv) {
  factory::Program program{add_options, {}, {}};
  program.helps["--fault"] = [] { return factory::joined(factory::known_faults(), "\n") + "\n"; };
  const auto add = [&](const auto& commands) {
    for (const auto& [name, summary, examples, set_up, uses] : commands)
      program.commands.push_back({name, summary, examples, set_up, uses});
  };
  add(factory::station_commands());
  add(factory::simulator_commands());
  add(factory::manual_commands(words_for));
  return run_program(argc, argv, program);
}
