// What a calibration needs of the fixture: a phone that lies flat, the lamp, the target. On a simulated phone the
// command sets it, else the operator is asked; what was set with --world stays.
#pragma once

#include <string>
#include <vector>

#include "session.h"

namespace factory {

// Sets what the step needs and returns it as "key=value" texts, or why it could not be set; empty when all was so
// already.
std::vector<std::string> set_up_fixture(Session& session, int type, int param);

}  // namespace factory
