// Faults that no simulation stands in for: permissions and a partition that is really full.
#pragma once

#include <string>

#include "rules.h"

namespace fault_matrix {

// Brings the phone's directory into the fault's state and gives up the process's privileges, where it has any, for
// good. Returns why it cannot be done here, or "".
std::string arrange_real_fault(Real fault, const Kind& kind, const std::string& directory);

}  // namespace fault_matrix
