// Which build of the application and its library runs.
#pragma once

#include <string>

namespace factory::plan {

// The linker's build id of a loaded file whose name holds `part`, in hex; empty: of the program itself. Empty where it
// has none.
std::string build_id(const std::string& part);

}  // namespace factory::plan
