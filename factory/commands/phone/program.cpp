#include "commands/phone/commands.h"

#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <iostream>
#include <map>
#include <sstream>
#include <string_view>
#include <utility>

#include "cli/command_line.h"
#include "cli/terminal.h"
#include "files/json_text.h"
#include "files/whole_file.h"
#include "phone/fixture.h"
#include "phone/fixture_settings.h"
#include "run/identity.h"

namespace factory {
namespace {

void add_common_options(CLI::App& app, Options* options) {
  ArgumentParser parser(app);
  parser.add_option(
      "--world", options->world,
      std::string(phones_are_simulated() ? "sets the fixture, KEY=VALUE"
                                         : "how the fixture stands, KEY=VALUE: nobody is asked to set it") +
          "; may be repeated; `help` lists them",
      {.repeated = true});
  parser.add_option("--log", options->log, "writes the log lines to a file, as logcat's threadtime form");
  parser.add_option("--max-equal", options->max_equal, "lux above which the panel's two levels must differ (property)");
  parser.add_flag("--json", options->json, "prints JSON instead of text");
}

// Which of Uses each option belongs to that commands share; a program need not have them all.
constexpr struct {
  const char* name;
  unsigned use;
} kShared[] = {
    {"--phone", Uses::phone},   {"--profile", Uses::profile}, {"--seed", Uses::seed},       {"--speed", Uses::world},
    {"--fixture", Uses::world}, {"--world", Uses::world},     {"--replay", Uses::world},    {"--fault", Uses::world},
    {"--log", Uses::logs},      {"--hub-log", Uses::logs},    {"--max-equal", Uses::world}, {"--json", Uses::json},
};

// Those that a command takes, for its help.
std::string shared_options(const CLI::App& app, unsigned uses) {
  std::string out;
  for (const auto& row : kShared) {
    if ((uses & row.use) != 0 && app.get_option_no_throw(row.name) != nullptr)
      out += (out.empty() ? "Takes, too (see `sensorcal --help`): " : ", ") + std::string(row.name);
  }
  return out.empty() ? "" : out + "\n";
}

// Throws AppError where one was given that the command does not take. Returns those that were, Uses.
unsigned require_used(const CLI::App& app, const Command& command) {
  unsigned given = 0;
  for (const auto& row : kShared) {
    const CLI::Option* option = app.get_option_no_throw(row.name);
    if (option == nullptr || option->count() == 0) continue;
    if ((command.uses & row.use) == 0) throw AppError(kUsage, std::string(command.name) + " takes no " + row.name);
    given |= row.use;
  }
  return given;
}

// A variable that is set to nothing is one that a script lost: what it stands for would be left out without a word.
void require_filled(const CLI::App& command) {
  for (const CLI::Option* option : command.get_options({})) {
    const std::string name = option->get_envname();
    const char* value = name.empty() ? nullptr : getenv(name.c_str());
    if (value != nullptr && *value == '\0' && option->count() == 0)
      throw AppError(kUsage, name + " is set, and empty: give it a value, unset it, or give " + option->get_name());
  }
}

std::string read_world(const std::string& given) {
  const size_t equals = given.find('=');
  const std::string help = "; `--world help` lists keys and values";
  if (equals == std::string::npos) throw AppError(kUsage, "--world " + given + ": give KEY=VALUE" + help);
  const std::string key = given.substr(0, equals);
  std::string setting;
  const std::string problem = read_setting(key, given.substr(equals + 1), Bare::taken, &setting);
  if (!problem.empty()) throw AppError(kUsage, "--world " + given + ": " + problem + help);
  return key + "=" + setting;
}

// The phone's commands, the program's in the place of those with the same name.
std::vector<Command> commands_of(const Program& program) {
  std::vector<Command> out = phone_commands();
  for (const Command& command : program.commands) {
    const auto same = [&](const Command& other) { return std::string_view(other.name) == command.name; };
    const auto found = std::find_if(out.begin(), out.end(), same);
    *(found == out.end() ? out.insert(found, command) : found) = command;
  }
  return out;
}

std::string version_text() {
  return "sensorcal " SENSORCAL_VERSION ", build " + plan::build_id("") +
         "\nlibsensor_cal " SENSORCAL_VERSION ", build " + plan::build_id("libsensor_cal");
}

Json::Value version_document() {
  const auto part = [](const std::string& library) {
    return json_object({{"version", SENSORCAL_VERSION}, {"build_id", plan::build_id(library)}});
  };
  return json_object({{"application", part("")}, {"library", part("libsensor_cal")}});
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
  const std::vector<Command> commands = commands_of(program);
  std::map<const CLI::App*, std::pair<const Command*, Runner>> runners;
  for (const Command& command : commands) {
    CLI::App* sub = app.add_subcommand(command.name, command.summary);
    sub->fallthrough();
    sub->footer(shared_options(app, command.uses) + "Examples:\n" + command.examples);
    runners[sub] = {&command, command.set_up(ArgumentParser(*sub))};
  }
  show_numbers(app);
  std::vector<std::string> arguments = hide_numbers(argc, argv);
  auto helps = program.helps;
  helps["--world"] = settings_help;
  const bool json = std::count(arguments.begin(), arguments.end(), "--json") > 0;
  for (const auto& [option, help] : helps) {
    if (!asks_for_help(arguments, option)) continue;
    if (json) throw AppError(kUsage, option + " help is text for people: leave --json out");
    std::cout << fit_help(help());
    return kPassed;
  }
  try {
    std::reverse(arguments.begin(), arguments.end());  // as the parser takes them
    app.parse(arguments);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() != 0) {
      for (const CLI::App* sub : app.get_subcommands()) require_filled(*sub);
      throw AppError(kUsage, parse_problem(app, error.what()));
    }
    if (json && dynamic_cast<const CLI::CallForVersion*>(&error) != nullptr) {
      print_document("version/1", version_document());
      return kPassed;
    }
    if (json) throw AppError(kUsage, "--help is text for people: leave --json out");
    std::ostringstream help;
    app.exit(error, help);
    std::cout << fit_help(help.str());
    return kPassed;
  }
  const auto& [command, runner] = runners.at(app.get_subcommands().front());
  options.given = require_used(app, *command);
  require_filled(*app.get_subcommands().front());
  for (std::string& setting : options.world) setting = read_world(setting);
  options.makes_phone = (command->uses & Uses::new_phone) != 0;
  return runner(options);
}

// Where no session watches for them, Ctrl-C and its kin end the program at once. A reader of the output that goes away
// ends nothing, nor does a file that may not grow: what else the run leaves is still to come.
void catch_early_signals() {
  for (const int number : {SIGPIPE, SIGXFSZ}) signal(number, SIG_IGN);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action = {};
    sigaction(number, nullptr, &action);
    if (action.sa_handler == SIG_IGN) continue;
    action.sa_handler = [](int /*number*/) {
      constexpr std::string_view kText = "\ninterrupted\n";
      (void)!write(STDERR_FILENO, kText.data(), kText.size());
      _exit(kInterrupted);
    };
    sigaction(number, &action, nullptr);
  }
}

const char* code_name(int code) {
  return code == kUsage ? "usage" : code == kFailed ? "failed" : code == kDiffers ? "differs" : "unreachable";
}

// On standard error for people and, with --json, on standard output for programs.
int tell(int code, const std::string& text, bool json) {
  complain(text);
  const Json::Value error = json_object({{"code", code_name(code)}, {"message", text}});
  if (json) print_document("error/1", json_object({{"error", error}}));
  return code;
}

}  // namespace

int run_program(int argc, char** argv, const Program& program) {
  catch_early_signals();
  show_what_is_printed();
  // Known before the command line is: what is wrong with that is told in the same way.
  const bool json = std::find(argv, argv + argc, std::string_view("--json")) != argv + argc;
  try {
    const int code = run(argc, argv, program);
    if (std::cout.flush()) return code;
    complain("standard output cannot be written");
    return code == kPassed ? kUnreachable : code;
  } catch (const AppError& error) {
    return tell(error.code, error.what(), json);
  } catch (const std::exception& error) {
    return tell(kUnreachable, reason_of(error), json);
  }
}

}  // namespace factory
