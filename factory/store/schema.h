// The tables of a store, by version: docs/formats/store.md.
#pragma once

#include "store/database.h"

namespace factory::store {

int newest_schema();

// Brings an empty or older store up to `version` in one transaction. Throws StoreError when the store is newer.
void migrate(Database* database, int version = newest_schema());

// Throws StoreError when the database holds no store, or one of another version.
void require_schema(Database* database);

// A month of the large tables as a part of its own, where the database has parts. `day`: since 1970.
void ensure_month(Database* database, int day);

}  // namespace factory::store
