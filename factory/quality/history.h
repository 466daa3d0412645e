// Runs as the store has them: all that happened to one phone, or one run.
#pragma once

#include <json/json.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "record/record.h"
#include "store/database.h"
#include "store/filter.h"

namespace factory::store {

struct StoredRun {
  record::Run run;  // without what the store does not keep: see not_kept()
  std::string failed_step, failed_measurement;
};

// The runs of a serial number, the newest first, at most `limit` (0: all). With their steps and attempts, and with
// `full` all that the store has. Throws StoreError, AwayError.
std::vector<StoredRun> history(Database* database, const std::string& serial, int limit, bool full);

// The runs that ended at a station since then, the oldest first, with their steps and attempts.
std::vector<StoredRun> runs_at(Database* database, const std::string& station, record::Clock::time_point since);

// The one run of an id, in full.
std::optional<StoredRun> stored_run(Database* database, const std::string& id);

// Calls with each of the chosen runs, in full, the oldest first; returns how many there are.
long long each_run(Database* database, const Filter& filter, const std::function<void(const record::Run&)>& take);

// docs/formats/store.md.
Json::Value to_json(const std::vector<StoredRun>& runs);

// What of its record the store did not keep, for a person.
std::vector<std::string> not_kept(const record::Run& run);

}  // namespace factory::store
