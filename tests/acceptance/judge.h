// One phone through the whole of it: plan, fresh samples, and what of that must not be.
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

#include "population.h"
#include "residuals.h"

namespace acceptance {

struct Verdict {
  uint64_t number = 0;
  bool passed = false;
  std::vector<std::string> misses;
  std::vector<Residual> residuals;  // of stored values
  double seconds = 0;
};

// `directory` must not be there, and is not there afterwards.
Verdict try_phone(const Case& phone, const std::string& directory);

// From one process to another.
Json::Value to_json(const Verdict& verdict);
Verdict from_json(const Json::Value& json);

}  // namespace acceptance
