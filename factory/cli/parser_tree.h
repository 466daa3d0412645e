// The command line as it stands in the parser, for the man page and the completions: what the parser does not know,
// they cannot tell, and what it knows, they cannot forget.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace factory {

// What a value names, so that a shell can offer some.
enum class ValueKind { anything, tag, file, directory, profile, fault, speed, shell };

struct ArgumentText {
  std::vector<std::string> names;  // "-h", "--help"; one name for a positional
  std::string value;               // what stands for the value, "TAG"; empty for a flag
  std::string description;
  std::string by_default;
  ValueKind kind = ValueKind::anything;
  std::vector<std::string> offered;  // what a shell may offer for the value; empty for files, directories and anything
  bool required = false;
  bool many = false;  // may be repeated
};

struct CommandText {
  std::string name;
  std::string summary;
  std::string footer;
  std::vector<ArgumentText> options;
  std::vector<ArgumentText> positionals;
  std::vector<CommandText> parts;
};

// Knows the words of a kind.
using Offer = std::function<std::vector<std::string>(ValueKind)>;
CommandText describe(const CLI::App& app, const Offer& offer);

// "TAG...", "[FILE]".
std::string synopsis(const ArgumentText& positional);

}  // namespace factory
