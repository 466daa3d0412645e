// The recordings that take the place of sensors.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "phone/sensors/sample_source.h"

namespace phone {

struct Replays {
  std::map<int, std::unique_ptr<SampleSource>> sources;  // by sensor type
  std::vector<std::string> remarks;
};

// Reads what "TAG=FILE[,key=value]..." options name. Throws PhoneError.
Replays open_replays(const std::vector<std::string>& options);

}  // namespace phone
