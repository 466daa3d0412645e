// One kind on one phone with one fault: run in a process of its own, looked at, and judged.
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

#include "rules.h"

namespace fault_matrix {

struct Outcome {
  int result = 0;
  std::string verdict;
  State hub = State::same;
  State files = State::same;
  bool timely = true;
  std::string skipped;  // why it could not be tried here
  std::vector<std::string> deviations;

  Json::Value json() const;
  static Outcome of(const Json::Value& json);
};

// Makes the phone of a kind in a new directory, as the factory would before the kind's turn, and runs the kind once.
// Returns what went wrong, or "". Leaves a phone in the calling process behind: for a process that then ends.
std::string prepare_phone(const Kind& kind, const std::string& directory);

// `grace_ms`: how much later than its waits and the hub the caller may be back. The process becomes unprivileged where
// the fault wants that.
Outcome run_cell(const Kind& kind, const FaultRow& fault, const std::string& directory, double grace_ms);

}  // namespace fault_matrix
