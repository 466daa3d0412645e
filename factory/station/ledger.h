// The station's last runs, and what is counted of them.
#pragma once

#include <json/value.h>

#include <deque>
#include <string>
#include <vector>

#include "record/record.h"

namespace factory::station {

struct Entry {
  std::string id;
  std::string serial;
  std::string plan;  // its name
  record::Outcome outcome = record::Outcome::error;
  record::Clock::time_point ended;
  double seconds = 0;
  std::string step;   // on which it did not pass
  std::string error;  // code of what it could not judge for
  bool retest = false;
  bool golden = false;
};

Entry entry_of(const record::Run& run, bool golden);

// The code of the first reason of a run that is an error for which its phone may be at fault; empty: it is none.
std::string error_of(const record::Run& run);

// Guarded by its station's mutex.
class Ledger {
 public:
  // In the order of their ends; one that it has, by its id, is not added again.
  void add(Entry entry);

  // Of one phone in one plan, the oldest first. Aborted runs judged nothing and count for nothing.
  std::vector<Entry> of(const std::string& serial, const std::string& plan) const;

  // Whether a golden phone passed since then.
  bool golden_passed(record::Clock::time_point since) const;

  // As a page shows the shift; golden phones count for nothing.
  Json::Value shift(record::Clock::time_point since) const;

 private:
  std::deque<Entry> entries_;
};

// The last of these times of day (minutes) before now, where the station stands.
record::Clock::time_point shift_begin(const std::vector<int>& minutes, record::Clock::time_point now);

}  // namespace factory::station
