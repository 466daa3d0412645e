#include "commands/phone/program.h"

#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <iostream>
#include <map>
#include <sstream>
#include <string_view>

#include "cli/command_line.h"
#include "phone/fixture.h"
#include "run/identity.h"

namespace factory {
namespace {

void add_common_options(CLI::App& app, Options* options) {
  app.add_option("--world", options->world,
                 phones_are_simulated()
                     ? "sets the fixture, KEY=VALUE; may be repeated"
                     : "how the fixture stands, KEY=VALUE: nobody is asked to set it; may be repeated")
      ->take_all()
      ->allow_extra_args(false);
  app.add_option("--log", options->log, "writes the log lines to a file, as logcat's threadtime form");
  app.add_option("--max-equal", options->max_equal, "lux above which the panel's two levels must differ (property)");
  app.add_flag("--json", options->json, "prints JSON instead of text");
}

// The phone's commands, the program's in the place of those with the same name, and the manual.
std::vector<Command> commands_of(const Program& program) {
  std::vector<Command> out = phone_commands();
  for (const Command& command : program.commands) {
    const auto same = [&](const Command& other) { return std::string_view(other.name) == command.name; };
    const auto found = std::find_if(out.begin(), out.end(), same);
    *(found == out.end() ? out.insert(found, command) : found) = command;
  }
  for (const Command& command : manual_commands(program.words)) out.push_back(command);
  return out;
}

std::string version_text() {
  return "sensorcal " SENSORCAL_VERSION ", build " + plan::build_id("") +
         "\nlibsensor_cal " SENSORCAL_VERSION ", build " + plan::build_id("libsensor_cal");
}

int run(int argc, char** argv, const Program& program) {
  CLI::App app("Calibrates and checks the sensors of a phone.", "sensorcal");
  app.set_version_flag("--version", version_text);
  app.require_subcommand(1);
  app.fallthrough();
  Options options;
  program.add_options(app, &options);
  add_common_options(app, &options);
  app.footer(
      "Exit codes: 0 passed, 1 failed: the phone's fault, 2 usage, or unreadable or damaged input, 3 an error: the "
      "phone could not be judged, or passed, and something that was asked for could not be delivered, 4 a replay "
      "differs from its recording, 130 ended by a person.");
  std::map<const CLI::App*, std::function<int(const Options&)>> runners;
  for (const Command& command : commands_of(program)) {
    CLI::App* sub = app.add_subcommand(command.name, command.summary);
    sub->fallthrough();
    sub->footer(std::string("Examples:\n") + command.examples);
    runners[sub] = command.set_up(ArgumentParser(*sub));
  }
  show_numbers(app);
  std::vector<std::string> arguments = hide_numbers(argc, argv);
  try {
    std::reverse(arguments.begin(), arguments.end());  // as the parser takes them
    app.parse(arguments);
  } catch (const CLI::ParseError& error) {
    std::ostringstream help;
    const bool good = app.exit(error, help, std::cerr) == 0;
    std::cout << fit_help(help.str());
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

int run_program(int argc, char** argv, const Program& program) {
  catch_early_signals();
  try {
    const int code = run(argc, argv, program);
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

}  // namespace factory
