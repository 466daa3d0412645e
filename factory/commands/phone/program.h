// The program around the commands: its own options, its help, and what ends it early.
#pragma once

#include "commands/phone/commands.h"

namespace factory {

// What a program has beside the phone's half.
struct Program {
  // Options of the phones that it can make.
  std::function<void(CLI::App& app, Options* options)> add_options = [](CLI::App&, Options*) {};
  // A command of the same name takes the place of a phone's.
  std::vector<Command> commands;
};

int run_program(int argc, char** argv, const Program& program);

}  // namespace factory
