// What a phone holds: its hub's numbers, its files and its properties.
#pragma once

#include <map>
#include <string>

#include "hub_numbers.h"
#include "phone/core/phone.h"
#include "rules.h"

namespace fault_matrix {

using test::Numbers;
using Files = std::map<std::string, std::string>;

Numbers hub_numbers(const Json::Value& hub_state);
// The files of the persist and configuration partitions, by their path on the device.
Files device_files(const std::string& directory);

// How the values that the kind owns changed. `strangers` gets the names of what changed and is none of its business.
State compare_hub(const Kind& kind, const Numbers& before, const Numbers& after, std::string* strangers);
// `good` are the files of a phone without a fault, which may have spoilt those `before`.
State compare_files(const Kind& kind, const Files& good, const Files& before, const Files& after,
                    std::string* strangers);

}  // namespace fault_matrix
