// Declares what a command takes. Keeps the parsing library, whose headers are slow to compile, out of the commands.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace factory {

// An option, a flag or a positional; like ArgumentParser a handle on what the parser holds.
class CommandArgument {
 public:
  struct Limits;
  CommandArgument(CLI::Option* option, std::shared_ptr<Limits> limits) : option_(option), limits_(std::move(limits)) {}

  CommandArgument required();
  CommandArgument excludes(const std::string& other);  // one that was added before
  CommandArgument needs(const std::string& other);     // one that was added before
  CommandArgument values(int count);
  CommandArgument repeated();                            // may be given several times, one value each
  CommandArgument envname(const std::string& variable);  // stands in for an option that is not given
  CommandArgument hidden();                              // from the help
  CommandArgument capture_default_str();                 // for the help
  CommandArgument default_text(const std::string& text);

  // Of numbers. What is none, not-a-number, or does not fit is refused without them, too.
  CommandArgument range(double low, double high);
  CommandArgument positive();
  CommandArgument non_negative();
  CommandArgument one_of(const std::vector<std::string>& words);

 private:
  CLI::Option* option_;
  std::shared_ptr<Limits> limits_;  // of a number
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
