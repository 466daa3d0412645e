// Declares what a command takes. Keeps the parsing library, whose headers are slow to compile, out of the commands.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace factory {

// An option, a flag or a positional; like ArgumentParser a handle on what the parser holds.
class CommandArgument {
 public:
  explicit CommandArgument(CLI::Option* option) : option_(option) {}

  CommandArgument required();
  CommandArgument excludes(const std::string& other);  // one that was added before
  CommandArgument values(int count);
  CommandArgument envname(const std::string& variable);  // stands in for an option that is not given
  CommandArgument hidden();                              // from the help
  CommandArgument capture_default_str();                 // for the help

  CommandArgument range(int low, int high);
  CommandArgument in_range(double low, double high);  // not-a-number is in no range
  CommandArgument positive();
  CommandArgument non_negative();
  CommandArgument one_of(const std::vector<std::string>& words);

 private:
  CLI::Option* option_;
};

// One command's part of the parser. The variables that its arguments are bound to live as long as the parser.
class ArgumentParser {
 public:
  explicit ArgumentParser(CLI::App& app) : app_(&app) {}

  // For the types that commands bind: argument_parser.cpp lists them.
  template <typename T>
  CommandArgument add_option(const std::string& name, T& value, const std::string& help);
  CommandArgument add_flag(const std::string& name, bool& value, const std::string& help = "");

  // A command below this one: exactly one has to be given, and calls back then.
  ArgumentParser add_subcommand(const std::string& name, const std::string& summary, std::function<void()> given);

  const CLI::App& parent() const;

 private:
  CLI::App* app_;
};

}  // namespace factory
