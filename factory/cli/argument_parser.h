// Declares what a command takes. Keeps the parsing library, whose headers are slow to compile, out of the commands.
#pragma once

#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace factory {

// What is said of an option, a flag or a positional beside its name and its help.
struct Argument {
  bool required = false;
  bool repeated = false;  // may be given several times, one value each
  bool hidden = false;    // from the help
  bool shows_default = false;
  std::string default_text = {};  // where that is not what the help is to show
  std::string envname = {};       // stands in for an option that is not given
  std::string excludes = {};      // one that was added before, and so is the following
  std::string needs = {};
  int values = 0;  // as many; 0: as many as the variable takes
  // Of numbers. What is none, not-a-number, or does not fit is refused without them, too.
  double low = -std::numeric_limits<double>::infinity();
  double high = std::numeric_limits<double>::infinity();
  bool above = false;  // `low` itself is not taken
  std::vector<std::string> one_of = {};
};

// One command's part of the parser. The variables that its arguments are bound to live as long as the parser.
class ArgumentParser {
 public:
  explicit ArgumentParser(CLI::App& app) : app_(&app) {}

  // For the types that commands bind: argument_parser.cpp lists them.
  template <typename T>
  void add_option(const std::string& name, T& value, const std::string& help, const Argument& about = {});
  void add_flag(const std::string& name, bool& value, const std::string& help, const Argument& about = {});

  // A command below this one, which calls back when it is given: one has to be, where they are needed.
  ArgumentParser add_subcommand(const std::string& name, const std::string& summary, std::function<void()> given,
                                bool needed = true);

  // The options of this command that its command line names, once it is parsed; not those that the environment gives.
  std::vector<std::string> named() const;

  const CLI::App& parent() const;

 private:
  CLI::App* app_;
};

}  // namespace factory
