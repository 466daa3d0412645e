// The trace of a recorded run is refused as bad input, or all that a replay takes from it can be taken.
#include "simulator/trace.h"

#include <sstream>

#include "support/checks.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace factory;  // NOLINT(google-build-using-namespace)
  std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
  try {
    const trace::Recorded recorded = trace::read_trace(in, "t");
    HOLDS(recorded.head.isObject());
    for (const auto& [key, answers] : recorded.answers) HOLDS(!key.empty() && !answers.empty());
  } catch (const AppError& error) {
    HOLDS(error.code == kUsage && error.what()[0] == 't');
  }
  return 0;
}
