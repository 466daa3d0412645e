// Whether a phone may run by what happened before, and what a shift counts.
#include "station/policy.h"

#include <time.h>

namespace factory::station {
namespace {

using record::Outcome;
using std::chrono::seconds;

const record::Clock::time_point kNow = record::Clock::from_time_t(1790000000);

store::StoredRun stored(const std::string& id, const std::string& station, Outcome outcome, int ago,
                        const std::string& plan = "p") {
  store::StoredRun out;
  out.run.id = id;
  out.run.serial = "A1";
  out.run.station = station;
  out.run.plan.name = plan;
  out.run.outcome = outcome;
  out.run.started = kNow - seconds(ago);
  return out;
}

Entry entry(const std::string& id, const std::string& serial, Outcome outcome, int ago) {
  return {id, serial, "p", outcome, kNow - seconds(ago), 60, "", "", false, false};
}

Settings settings_with(int failures, bool unknown_allowed = false) {
  Settings out;
  out.station = "here";
  out.earlier = "before";
  out.earlier_unknown_allowed = unknown_allowed;
  out.retests_of_failures = failures;
  out.golden = true;
  out.golden_serials = Pattern("GOLD.*");
  return out;
}

TEST(StationPolicy, WantsAPassAtTheEarlierStation) {
  const std::pair<std::vector<store::StoredRun>, const char*> rows[] = {
      // the newest first
      {{stored("1", "before", Outcome::passed, 10)}, ""},
      {{stored("2", "before", Outcome::passed, 10), stored("1", "before", Outcome::failed, 20)}, ""},
      {{}, "earlier-station-missing"},
      {{stored("1", "elsewhere", Outcome::passed, 10)}, "earlier-station-missing"},
      {{stored("2", "before", Outcome::failed, 10), stored("1", "before", Outcome::passed, 20)},
       "earlier-station-failed"},
      {{stored("2", "before", Outcome::error, 10), stored("1", "before", Outcome::passed, 20)},
       "earlier-station-failed"},
      {{stored("2", "before", Outcome::aborted, 10), stored("1", "before", Outcome::passed, 20)},
       "earlier-station-failed"},
  };
  for (const auto& [history, refusal] : rows) {
    const Permit given = permit(settings_with(0), "A1", "p", {history, ""}, {});
    EXPECT_EQ(given.refusal ? given.refusal->code : "", refusal);
    EXPECT_EQ(given.remark, "");
  }
  EXPECT_EQ(permit(settings_with(0), "A1", "p", {{}, "away"}, {}).refusal->code, "earlier-station-unknown");
  const Permit let = permit(settings_with(0, true), "A1", "p", {{}, "away"}, {});
  EXPECT_FALSE(let.refusal);
  EXPECT_EQ(let.remark, "whether A1 passed at station before is not known: away; the settings let it pass");
  EXPECT_FALSE(permit(settings_with(0), "GOLD1", "p", {std::vector<store::StoredRun>(), ""}, {}).refusal);
}

TEST(StationPolicy, CountsRunsOfThePhoneFromStoreAndMemory) {
  Settings settings = settings_with(1);
  settings.earlier.clear();
  const std::vector<store::StoredRun> history = {
      stored("4", "here", Outcome::failed, 40), stored("3", "here", Outcome::aborted, 50),
      stored("2", "here", Outcome::failed, 60, "other"), stored("1", "elsewhere", Outcome::failed, 70)};
  const Permit first = permit(settings, "A1", "p", {history, ""}, {});
  EXPECT_FALSE(first.refusal);
  EXPECT_EQ(first.retest, 1);
  EXPECT_EQ(first.retest_of, "4");
  // The same run, in both, counts once; one that the store does not have yet counts, too.
  Entry erred = entry("5", "A1", Outcome::error, 5);
  erred.error = "hub.silent";
  const Permit second = permit(settings, "A1", "p", {history, ""}, {entry("4", "A1", Outcome::failed, 40), erred});
  EXPECT_FALSE(second.refusal);
  EXPECT_EQ(second.retest, 2);
  EXPECT_EQ(second.retest_of, "5");
  EXPECT_EQ(second.error, "hub.silent");
  const Permit third = permit(settings, "A1", "p", {history, ""}, {entry("5", "A1", Outcome::failed, 5)});
  ASSERT_TRUE(third.refusal);
  EXPECT_EQ(third.refusal->code, "no-retest");
  EXPECT_EQ(third.refusal->arguments, (std::vector<std::string>{"A1", "2", "1"}));
  settings.retests_of_failures = 0;
  EXPECT_TRUE(permit(settings, "A1", "p", {{}, "away"}, {entry("5", "A1", Outcome::failed, 5)}).refusal);
  EXPECT_FALSE(permit(settings, "A1", "p", {{}, "away"}, {entry("5", "A1", Outcome::passed, 5)}).refusal);
  EXPECT_FALSE(permit(settings, "A1", "p", {{}, ""}, {}).refusal);
}

TEST(StationLedger, CountsTheShift) {
  Ledger ledger;
  EXPECT_TRUE(ledger.shift(kNow - seconds(100))["first_pass"].isNull());
  ledger.add(entry("0", "A0", Outcome::failed, 200));  // of the shift before
  ledger.add(entry("1", "A1", Outcome::error, 90));    // judged nothing
  Entry again = entry("2", "A1", Outcome::passed, 80);
  again.retest = true;
  ledger.add(again);
  ledger.add(again);
  ledger.add(entry("3", "A2", Outcome::failed, 70));
  ledger.add(entry("4", "A2", Outcome::passed, 60));  // passed, but not at first
  ledger.add(entry("6", "A3", Outcome::passed, 40));
  ledger.add(entry("5", "A4", Outcome::aborted, 50));  // came late
  Entry golden = entry("7", "GOLD1", Outcome::failed, 30);
  golden.golden = true;
  ledger.add(golden);
  EXPECT_FALSE(ledger.golden_passed(kNow - seconds(100)));
  const Json::Value shift = ledger.shift(kNow - seconds(100));
  EXPECT_EQ(shift["phones"], 4);
  EXPECT_DOUBLE_EQ(shift["first_pass"].asDouble(), 2.0 / 3);
  EXPECT_EQ(shift["retests"], 1);
  EXPECT_EQ(shift["errors"], 1);
  EXPECT_EQ(shift["seconds_per_phone"].asDouble(), 90);
  ASSERT_EQ(shift["last"].size(), 7u);
  EXPECT_EQ(shift["last"][0]["serial"], "GOLD1");
  EXPECT_EQ(shift["last"][2]["serial"], "A4");
  golden.id = "8";
  golden.outcome = Outcome::passed;
  ledger.add(golden);
  EXPECT_TRUE(ledger.golden_passed(kNow - seconds(100)));
  EXPECT_FALSE(ledger.golden_passed(kNow - seconds(20)));
  EXPECT_EQ(ledger.of("A2", "p").size(), 2u);
  EXPECT_TRUE(ledger.of("A2", "other").empty());
  for (int i = 0; i < 20000; ++i) ledger.add(entry("n" + std::to_string(i), "B", Outcome::passed, 1));
  EXPECT_EQ(ledger.of("B", "p").size(), 5000u);
}

TEST(StationLedger, AnErrorIsThatOfTheStepThatErred) {
  record::Run run;
  run.outcome = Outcome::error;
  run.steps.resize(3);
  run.steps[0].attempts.resize(1);
  run.steps[0].attempts[0].reasons = {record::Text("hub.silent", {}, "silent")};
  run.steps[1].outcome = run.steps[2].outcome = Outcome::error;  // the one before any attempt
  run.steps[2].attempts.resize(1);
  run.steps[2].attempts[0].reasons = {record::Text("call.hangs", {}, "hangs")};
  EXPECT_EQ(error_of(run), "call.hangs");
}

TEST(StationLedger, KnowsWhenTheShiftBegan) {
  setenv("TZ", "UTC", 1);
  tzset();
  const auto at = [](int day, int hour, int minute) {
    return record::Clock::from_time_t(1790035200 + (day * 24 + hour) * 3600 + minute * 60);
  };
  const std::vector<int> shifts = {6 * 60, 14 * 60, 22 * 60 + 30};
  EXPECT_EQ(shift_begin(shifts, at(0, 6, 0)), at(0, 6, 0));
  EXPECT_EQ(shift_begin(shifts, at(0, 13, 59)), at(0, 6, 0));
  EXPECT_EQ(shift_begin(shifts, at(0, 22, 31)), at(0, 22, 30));
  EXPECT_EQ(shift_begin(shifts, at(0, 5, 59)), at(-1, 22, 30));
  EXPECT_EQ(shift_begin({0}, at(0, 0, 0)), at(0, 0, 0));
}

}  // namespace
}  // namespace factory::station
