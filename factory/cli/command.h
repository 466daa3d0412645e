// The commands of `sensorcal`: tables that the parser, the help and the dispatch share.
#pragma once

#include <functional>
#include <string>

#include "cli/argument_parser.h"

namespace factory {

// What the commands of every half hear of the options that the program itself has.
struct CommonOptions {
  std::string profile;  // of a new phone, or of the phones whose runs are looked at
  bool json = false;
};

// `Options`: what a half has of the program's options, CommonOptions or more.
template <typename Options>
struct CommandOf {
  const char* name;
  const char* summary;
  const char* examples;  // for --help
  // Adds the command's own arguments, which live as long as the parser, and returns what runs it.
  std::function<std::function<int(const Options& options)>(ArgumentParser parser)> set_up;
};

}  // namespace factory
