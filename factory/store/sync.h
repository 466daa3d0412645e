// Brings waiting runs up to the server.
#pragma once

#include <string>
#include <vector>

#include "store/spool.h"
#include "store/uri.h"

namespace factory::store {

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
