// docs/faults.md, written from what was found.
#pragma once

#include <string>
#include <vector>

#include "matrix.h"

namespace fault_matrix {

std::string document(const std::vector<Cell>& cells, const std::vector<Outcome>& outcomes);

}  // namespace fault_matrix
