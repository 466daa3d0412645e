// The commands of `sensorcal`: tables that the parser, the help and the dispatch share.
#pragma once

#include <functional>
#include <string>

#include "cli/argument_parser.h"

namespace factory {

// Options that commands share: which ones a command uses. One that it would ignore is refused.
struct Uses {
  enum : unsigned {
    nothing = 0,
    phone = 1U << 0,
    profile = 1U << 1,
    seed = 1U << 2,
    world = 1U << 3,  // what happens to an open phone: fixture, speed, recordings, faults
    logs = 1U << 4,
    json = 1U << 5,
    new_phone = 1U << 6,  // makes a phone where there is none, unasked
    reads = phone | profile | seed | world | logs | json,
    works = reads | new_phone,
  };
};

// What the commands of every half hear of the options that the program itself has.
struct CommonOptions {
  std::string profile;  // of a new phone, or of the phones whose runs are looked at
  bool json = false;
  unsigned given = 0;  // Uses, of the options that commands share
};

// `Options`: what a half has of the program's options, CommonOptions or more.
template <typename Options>
struct CommandOf {
  const char* name;
  const char* summary;
  const char* examples;  // for --help
  // Adds the command's own arguments, which live as long as the parser, and returns what runs it.
  std::function<std::function<int(const Options& options)>(ArgumentParser parser)> set_up;
  unsigned uses = Uses::nothing;  // Uses
};

}  // namespace factory
