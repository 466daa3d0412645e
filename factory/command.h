// The commands of `sensorcal`: one table that the parser, the help and the dispatch share.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "options.h"

namespace factory {

struct Command {
  const char* name;
  const char* summary;
  const char* examples;  // for --help
  // Adds the command's own arguments, which live as long as the parser, and returns what runs it.
  std::function<int(const Options& options)> (*set_up)(CLI::App& app);
};

// In the order in which --help lists them.
const std::vector<Command>& commands();

}  // namespace factory
