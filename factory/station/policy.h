// Whether a phone may be run at this station now: by what happened to it before.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "quality/history.h"
#include "station/ledger.h"
#include "station/settings.h"

namespace factory::station {

// Why a scan is not taken: for programs its code, what the words are made of, and the words.
struct Refusal {
  std::string code;
  std::vector<std::string> arguments;
  std::string text;
};

// What is known of a phone before it runs.
struct Before {
  std::optional<std::vector<store::StoredRun>> history;  // the newest first; nothing: the store could not be asked
  std::string why;                                       // it could not
};

struct Permit {
  std::optional<Refusal> refusal;
  std::string remark;     // what was let pass and has to be told, on the page and in the record
  int retest = 0;         // the nth: runs of this phone in this plan at this station so far
  std::string retest_of;  // id of the last of them
  std::string error;      // code of what that one could not judge for
};

// `entries`: the phone's runs at this station that the store may not have yet.
Permit permit(const Settings& settings, const std::string& serial, const std::string& plan, const Before& before,
              std::vector<Entry> entries);

}  // namespace factory::station
