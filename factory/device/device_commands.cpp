#include "commands/command.h"

namespace factory {

const std::vector<Command>& fixture_commands() {
  static const std::vector<Command> kNone;
  return kNone;
}

}  // namespace factory
