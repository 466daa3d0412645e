// What a calibration needs of the fixture: a phone that lies flat, the lamp, the target. On a simulated phone the
// command sets it, else the operator is asked; what was set with --world stays.
#pragma once

#include <string>
#include <vector>

#include "phone/session.h"

namespace factory {

struct FixtureSetUp {
  std::vector<std::string> set;       // "key=value", what was not so already
  std::vector<std::string> problems;  // what could not be set, or an operator skipped
};

// Sets what the step needs; an operator is asked once.
FixtureSetUp set_up_fixture(Session& session, int type, int param);

}  // namespace factory
