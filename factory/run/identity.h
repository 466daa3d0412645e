// What a record is known by: the plan's hash, the build of application and library, times.
#pragma once

#include <chrono>
#include <string>

namespace factory::plan {

// SHA-256 in hex.
std::string sha256(const std::string& bytes);

// The linker's build id of a loaded file whose name holds `part`, in hex; empty: of the program itself. Empty where it
// has none.
std::string build_id(const std::string& part);

// UTC, ISO 8601 with milliseconds.
std::string iso_time(std::chrono::system_clock::time_point time);

}  // namespace factory::plan
