#include "station/policy.h"

#include <algorithm>

#include "files/words.h"

namespace factory::station {
namespace {

using record::Outcome;

// At the station before this one. Says in `remark` what was let pass all the same.
std::optional<Refusal> earlier(const Settings& settings, const std::string& serial, const Before& before,
                               std::string* remark) {
  if (settings.earlier.empty()) return {};
  if (!before.history) {
    const std::string unknown =
        "whether " + serial + " passed at station " + settings.earlier + " is not known: " + before.why;
    if (!settings.earlier_unknown_allowed)
      return Refusal{"earlier-station-unknown", {serial, settings.earlier, before.why}, unknown};
    *remark = unknown + "; the settings let it pass";
    return {};
  }
  const auto last = std::find_if(before.history->begin(), before.history->end(),
                                 [&](const auto& stored) { return stored.run.station == settings.earlier; });
  if (last == before.history->end()) {
    return Refusal{"earlier-station-missing",
                   {serial, settings.earlier},
                   serial + " was never at station " + settings.earlier + ", which it has to pass first"};
  }
  if (last->run.outcome == Outcome::passed) return {};
  return Refusal{
      "earlier-station-failed",
      {serial, settings.earlier, outcome_name(last->run.outcome)},
      "the last run of " + serial + " at station " + settings.earlier + ": " + outcome_name(last->run.outcome)};
}

// The station's own runs of the phone, from both, the oldest first.
std::vector<Entry> runs_here(const Settings& settings, const std::string& plan, const Before& before,
                             std::vector<Entry> entries) {
  if (before.history) {
    for (const store::StoredRun& stored : *before.history) {
      const record::Run& run = stored.run;
      const bool known =
          std::any_of(entries.begin(), entries.end(), [&](const Entry& entry) { return entry.id == run.id; });
      if (!known && run.station == settings.station && run.plan.name == plan && run.outcome != Outcome::aborted)
        entries.push_back(entry_of(run, false));
    }
  }
  std::stable_sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) { return a.ended < b.ended; });
  return entries;
}

}  // namespace

Permit permit(const Settings& settings, const std::string& serial, const std::string& plan, const Before& before,
              std::vector<Entry> entries) {
  Permit out;
  const std::vector<Entry> runs = runs_here(settings, plan, before, std::move(entries));
  out.retest = static_cast<int>(runs.size());
  if (!runs.empty()) {
    out.retest_of = runs.back().id;
    out.error = runs.back().error;
  }
  if (settings.is_golden(serial)) return out;  // it runs at every shift, and never leaves
  out.refusal = earlier(settings, serial, before, &out.remark);
  if (out.refusal) return out;
  const auto failures =
      std::count_if(runs.begin(), runs.end(), [](const Entry& run) { return run.outcome == Outcome::failed; });
  if (failures > settings.retests_of_failures) {
    out.refusal = Refusal{"no-retest",
                          {serial, std::to_string(failures), std::to_string(settings.retests_of_failures)},
                          serial + " failed here " + counted(failures, "time") + ", and may be tested again " +
                              counted(settings.retests_of_failures, "time") + " at most"};
  }
  return out;
}

}  // namespace factory::station
