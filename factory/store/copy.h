// Runs from one store in a file into another, as rows: a record of each would take many times as long.
#pragma once

#include "store/filter.h"
#include "store/store.h"

namespace factory::store {

struct Copied {
  long long stored = 0;
  long long were_there = 0;
};

// The runs that the filter lets through, each once, with all that is kept of them. Both stores are files. Some thousand
// runs in a transaction: others write in between. Throws StoreError; what was committed by then stays.
Copied copy_runs(Store* to, Database* from, const Filter& filter);

}  // namespace factory::store
