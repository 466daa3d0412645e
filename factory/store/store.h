// Where runs are kept for good: an embedded file or a server. docs/formats/store.md has the tables.
#pragma once

#include <memory>
#include <span>

#include "record/record.h"
#include "store/database.h"

namespace factory::store {

class Dictionary;
class RunWriter;

class Store {
 public:
  // Makes the tables where there are none, and brings an older store up to date. Throws StoreError, AwayError.
  explicit Store(const Uri& uri) : Store(Database(uri, Database::Access::create)) {}
  explicit Store(Database database);
  ~Store();

  // The whole run in one transaction, on the disk when this returns. False: it was there already, by its id. Throws
  // StoreError where that is none, too.
  bool put(const record::Run& run, bool samples) { return put(std::span(&run, 1), samples) > 0; }
  // Several in one; how many of them were not there.
  int put(std::span<const record::Run> runs, bool samples);

  // The store's own, which a copy keeps.
  std::string id();
  Database& database() { return database_; }
  Dictionary& dictionary() { return *dictionary_; }

 private:
  Database database_;
  std::unique_ptr<Dictionary> dictionary_;
  std::unique_ptr<RunWriter> writer_;
  int month_seen_of_day_ = -1;
};

}  // namespace factory::store
