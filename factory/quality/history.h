// All that happened to one phone.
#pragma once

#include <json/json.h>

#include <string>

#include "store/database.h"

namespace factory::store {

// The runs of a serial number, the newest first, at most `limit` (0: all): docs/formats/store.md has the form. With
// their steps and attempts, and with `full` their measurements.
Json::Value history(Database* database, const std::string& serial, int limit, bool full);

// The one run of an id, in the same form, with everything.
Json::Value history_of_run(Database* database, const std::string& id);

}  // namespace factory::store
