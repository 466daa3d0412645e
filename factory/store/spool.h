// The station's own file: runs that the server does not have yet, until they are brought up to it.
#pragma once

#include <optional>
#include <string>
#include <vector>

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

  // The store that it belongs to since it first met one, and the address that it had then; empty before.
  struct Owner {
    std::string id, address;
  };
  Owner owner();
  void belong_to(const Owner& owner);

  const std::string& file() const { return database_.uri().place; }

 private:
  Database database_;
};

// Before a run goes into it: throws StoreError where the spool belongs to another store than that at the address. An
// address that it does not know is asked for its store, and refused (AwayError) where it cannot be.
void require_owner(Spool* spool, const Uri& uri);

struct Brought {
  int stored = 0;                    // by this call
  int were_there = 0;                // the server had them: an earlier answer was lost
  int waiting = 0;                   // still in the spool
  std::string away;                  // why the server could not be reached, or went away; empty: it did not
  std::vector<std::string> refused;  // what the server would not take, and why
};

// Ends early when a run takes the server longer than `patience_s`. A run leaves the spool when the server has said that
// it has it. Never throws for what the server does.
Brought bring_up(Spool* spool, const Uri& uri, double patience_s);

}  // namespace factory::store
