// A station where a person sets the fixture: what is wanted is asked for on the terminal, and counts once it is
// confirmed. What a program cannot know on a station, it does not know here either: of the world only what was
// confirmed. A simulated phone's world follows what the operator confirms, so that a plan can be tried without
// a station.
#pragma once

#include <atomic>
#include <memory>

#include "phone/fixture.h"

namespace factory {

// Throws AppError(kUsage) where there is no terminal to ask on.
void require_terminal();

// Without a terminal everything that is asked for is a problem, and the phone works all the same. `interrupted` ends a
// wait for the operator, who can set it too: by Ctrl-C, or by the answer that aborts.
std::unique_ptr<Fixture> ask_operator(std::unique_ptr<Fixture> phone, const std::atomic<bool>& interrupted);

}  // namespace factory
