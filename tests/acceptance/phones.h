// Phones that are drawn from seeds, each tried by its plan: good ones, ones with an error beyond a limit, and ones that
// are moved meanwhile.
#pragma once

#include <json/json.h>

#include <cstdint>
#include <string>

namespace acceptance {

// Runs the plan on the phone of this seed, looks at fresh samples, and says what of it must not be: `misses`, with
// `phone` to repeat it, `population`, whether it `passed`, and the `residuals` of what its hub keeps. `directory` must
// not be there, and is not there afterwards.
Json::Value try_phone(uint64_t seed, const std::string& directory);

// Whether it is one of those that are moved, many of which wait for a time limit.
bool is_moved(uint64_t seed);

}  // namespace acceptance
