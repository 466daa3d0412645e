// The commands of `sensorcal`: one table that the parser, the help and the dispatch share.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "phone/options.h"

namespace factory {

class ArgumentParser;

struct Command {
  const char* name;
  const char* summary;
  const char* examples;  // for --help
  // Adds the command's own arguments, which live as long as the parser, and returns what runs it.
  std::function<int(const Options& options)> (*set_up)(ArgumentParser parser);
};

// In the order in which --help lists them.
const std::vector<Command>& commands();

// What only the phones that the program was linked for can do: simulated ones have some.
const std::vector<Command>& fixture_commands();

}  // namespace factory
