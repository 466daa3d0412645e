// The station's own file: runs that the server does not have yet.
#pragma once

#include <optional>
#include <string>

#include "record/record.h"
#include "store/database.h"

namespace factory::store {

class Spool {
 public:
  // Made where it is missing. Throws StoreError.
  explicit Spool(const std::string& file);

  // On the disk when this returns.
  void keep(const record::Run& run, bool samples);
  int waiting();

  struct Entry {
    std::string id;
    std::string record;
    bool samples = false;
  };
  // The first one after the id, in the order of their times; from "" on.
  std::optional<Entry> next(const std::string& after);
  void drop(const std::string& id);

  const std::string& file() const { return database_.uri().place; }

 private:
  Database database_;
};

}  // namespace factory::store
