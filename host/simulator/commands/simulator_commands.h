// What only simulated phones can do, and what commands of the halves can do besides with these.
#pragma once

#include <vector>

#include "commands/phone/commands.h"

namespace factory {

const std::vector<Command>& simulator_commands();

}  // namespace factory
