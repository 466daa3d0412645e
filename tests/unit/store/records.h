// Made-up runs and places to keep them.
#pragma once

#include <string>
#include <vector>

#include "folder.h"
#include "store/store.h"
#include "store/uri.h"

namespace factory::store {

using test::Folder;

struct MadeValue {
  std::string name;
  double value;
  double low, high;
};

struct MadeRun {
  std::string serial = "A1";
  std::string station = "north";
  std::string plan = "inertial";
  long long started_ms = 1764000000000;  // 2025-11-24T16:00:00Z
  record::Outcome verdict = record::Outcome::passed;
  std::string version = "0.1.0";
  std::string profile = "reference";
  // Each attempt of the plan's only step has these.
  std::vector<std::vector<MadeValue>> attempts = {{{"residual", 0.001, -0.02, 0.02}}};
  int samples = 0;
};

// A record as `sensorcal run` writes it, with a new id.
record::Run record_of(const MadeRun& run);

// An empty database of the kind: "sqlite" in the folder, or "postgresql" on a server that this program started.
Uri fresh_place(const std::string& kind, const Folder& folder);

// The kinds that this run of the program is about.
std::vector<std::string> kinds();

// One number that the database answers.
long long number_from(Database* database, const std::string& sql);

}  // namespace factory::store
