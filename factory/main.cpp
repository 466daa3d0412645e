// `sensorcal`, the factory test application.
#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <iostream>
#include <map>
#include <sstream>

#include "cli/argument_parser.h"
#include "cli/command_line.h"
#include "cli/terminal.h"
#include "commands/command.h"
#include "phone/fixture.h"
#include "phone/options.h"
#include "run/identity.h"

namespace {

using namespace factory;  // NOLINT(google-build-using-namespace)

void add_common_options(CLI::App& app, Options* options) {
  const bool simulated = phones_are_simulated();
  app.add_option("--phone", options->phone, "phone directory (default: $SENSORCAL_PHONE, else ./phone)");
  std::string profiles;
  for (const std::string& name : known_profiles()) profiles += (profiles.empty() ? "" : ", ") + name;
  app.add_option("--profile", options->profile, "profile of a new phone: " + profiles + ", or a JSON file");
  app.add_option("--seed", options->seed, "draws a new phone's sensor errors")->check(CLI::NonNegativeNumber);
  app.add_option("--speed", options->speed, "sensor time over real time: a number, or max")->capture_default_str();
  app.add_option("--fixture", options->fixture,
                 "who sets the fixture: simulated, or operator, who is asked on the terminal and confirms")
      ->check(CLI::IsMember({"simulated", "operator"}))
      ->default_str(simulated ? "simulated" : "operator");
  app.add_option("--world", options->world,
                 simulated ? "sets the fixture, KEY=VALUE; may be repeated"
                           : "how the fixture stands, KEY=VALUE: nobody is asked to set it; may be repeated")
      ->take_all()
      ->allow_extra_args(false);
  app.add_option("--replay", options->replay,
                 "a recording in place of a sensor, TAG=FILE[,key=value]...; may be repeated")
      ->take_all()
      ->allow_extra_args(false);
  app.add_option("--fault", options->fault,
                 "a fault of the phone, NAME[:ARGUMENTS]; may be repeated; `help` lists them")
      ->take_all()
      ->allow_extra_args(false);
  app.add_option("--log", options->log, "writes the log lines to a file, as logcat's threadtime form");
  app.add_option("--hub-log", options->hub_log, "writes the hub messages to a file, one JSON object a line");
  app.add_option("--max-equal", options->max_equal, "lux above which the panel's two levels must differ (property)");
  app.add_flag("--json", options->json, "prints JSON instead of text");
  if (simulated) return;
  // They are still taken, so that what refuses them can say why.
  for (const char* name :
       {"--phone", "--profile", "--seed", "--speed", "--fixture", "--replay", "--fault", "--hub-log"})
    app.get_option(name)->group("");
}

std::string version_text() {
  return "sensorcal " SENSORCAL_VERSION ", build " + plan::build_id("") +
         "\nlibsensor_cal " SENSORCAL_VERSION ", build " + plan::build_id("libsensor_cal");
}

constexpr size_t kPipedColumns = 80;

size_t columns_or(size_t fallback) {
  const size_t columns = terminal_columns();
  return columns > 0 ? columns : fallback;
}

std::string fault_help() {
  std::string out;
  for (const std::string& line : known_faults()) out += line + "\n";
  return fit_help(out, columns_or(kPipedColumns));
}

int run(int argc, char** argv) {
  CLI::App app("Calibrates and checks the sensors of a phone.", "sensorcal");
  app.set_version_flag("--version", version_text);
  app.require_subcommand(1);
  app.fallthrough();
  Options options;
  add_common_options(app, &options);
  app.footer(
      "Exit codes: 0 passed, 1 failed: the phone's fault, 2 usage, or unreadable or damaged input, 3 an error: the "
      "phone "
      "could not be judged, or passed, and something that was asked for could not be delivered, 4 a replay differs "
      "from "
      "its recording, 130 ended by a person.");
  std::map<const CLI::App*, std::function<int(const Options&)>> runners;
  for (const std::vector<Command>* table : {&commands(), &fixture_commands()}) {
    for (const Command& command : *table) {
      CLI::App* sub = app.add_subcommand(command.name, command.summary);
      sub->fallthrough();
      sub->footer(std::string("Examples:\n") + command.examples);
      runners[sub] = command.set_up(ArgumentParser(*sub));
    }
  }
  show_numbers(app);
  std::vector<std::string> arguments = hide_numbers(argc, argv);
  if (phones_are_simulated() && asks_for_faults(arguments)) {
    std::cout << fault_help();
    return kPassed;
  }
  try {
    std::reverse(arguments.begin(), arguments.end());  // as the parser takes them
    app.parse(arguments);
  } catch (const CLI::ParseError& error) {
    std::ostringstream help;
    const bool good = app.exit(error, help, std::cerr) == 0;
    std::cout << fit_help(help.str(), columns_or(kPipedColumns));
    return good ? kPassed : kUsage;
  }
  return runners.at(app.get_subcommands().front())(options);
}

// Where no session watches for them, Ctrl-C and its kin end the program at once. A reader of the output that goes away
// ends nothing: what else the run leaves is still to come.
void catch_early_signals() {
  signal(SIGPIPE, SIG_IGN);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action = {};
    sigaction(number, nullptr, &action);
    if (action.sa_handler == SIG_IGN) continue;
    action.sa_handler = [](int /*number*/) {
      constexpr char kText[] = "\ninterrupted\n";
      if (write(STDERR_FILENO, kText, sizeof kText - 1) < 0) _exit(kInterrupted);
      _exit(kInterrupted);
    };
    sigaction(number, &action, nullptr);
  }
}

}  // namespace

int main(int argc, char** argv) {
  catch_early_signals();
  try {
    const int code = run(argc, argv);
    if (std::cout.flush()) return code;
    std::cerr << "sensorcal: standard output cannot be written\n";
    return code == kPassed ? kUnreachable : code;
  } catch (const AppError& error) {
    std::cerr << "sensorcal: " << error.what() << "\n";
    return error.code;
  } catch (const std::exception& error) {
    std::cerr << "sensorcal: " << error.what() << "\n";
    return kUnreachable;
  }
}
