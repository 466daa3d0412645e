// What is stored, and that it is stored once.
#include "store/store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <set>
#include <thread>

#include "files/json_text.h"
#include "files/time_text.h"
#include "quality/history.h"
#include "quality/statistics.h"
#include "quality/stats_view.h"
#include "quality/study.h"
#include "record/record_json.h"
#include "records.h"
#include "store/copy.h"
#include "store/schema.h"
#include "store/stored_run.h"
#include "store/stored_text.h"

namespace factory::store {
namespace {

using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

class StoreTest : public testing::TestWithParam<std::string> {
 protected:
  Uri place() { return fresh_place(GetParam(), folder_); }
  Folder folder_;
};
INSTANTIATE_TEST_SUITE_P(, StoreTest, testing::ValuesIn(kinds()), [](const auto& kind) { return kind.param; });

using Found = std::vector<StoredRun>;

const record::Measurement& measurement(const Found& found, size_t run, size_t attempt, size_t which) {
  return found.at(run).run.steps.at(0).attempts.at(attempt).measurements.at(which);
}

TEST_P(StoreTest, GivesBackWhatWasStored) {
  Store store(place());
  record::Run record = record_of({.verdict = record::Outcome::failed,
                                  .attempts = {{{"residual", 0.5, -0.02, 0.02}, {"noise", 0.1 + 0.2, 0, 1}},
                                               {{"residual", -1.0 / 3, -0.02, 0.02}}},
                                  .samples = 3});
  record.lot = "L7";
  record.steps[0].attempts[0].after.emplace_back();  // which no store keeps
  record.plan.version = "4";
  record.retest_of = record.id;
  ASSERT_TRUE(store.put(record, true));
  const Found found = history(&store.database(), "A1", 0, true);
  ASSERT_EQ(found.size(), 1U);
  record::Run kept = storable(record, true);
  kept.phone.facts = {{"profile", "reference"}};
  // All that the store keeps, as it was, but the limits of the mean.
  EXPECT_EQ(json_pretty(to_json(found[0].run)), json_pretty(to_json(kept)));
  EXPECT_EQ(found[0].run.plan.sha256, "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(found[0].failed_step, "Acc");
  EXPECT_EQ(found[0].failed_measurement, "residual x");
  EXPECT_EQ(found[0].run.steps[0].attempts[0].reasons[0].code, "limits");
  EXPECT_EQ(measurement(found, 0, 0, 1).value, 0.1 + 0.2);
  EXPECT_EQ(measurement(found, 0, 1, 0).value, -1.0 / 3);
  EXPECT_EQ(number_from(&store.database(), "SELECT COUNT(*) FROM sample WHERE value = 0.5 AND event = 3 AND state = 2"),
            2);
  EXPECT_EQ(number_from(&store.database(), "SELECT COUNT(*) FROM sample"), 12);
}

TEST_P(StoreTest, StationsOfOneNameWriteAtOnce) {
  constexpr int kStations = 4;
  constexpr int kRuns = 10;
  const Uri uri = place();
  const record::Run shared = record_of({});
  std::atomic<int> stored = 0;
  std::vector<std::thread> stations;
  for (int i = 0; i < kStations; ++i) {
    // Also the tables are made by all at once.
    stations.emplace_back([&] {
      Store store(uri);
      for (int run = 0; run < kRuns; ++run) EXPECT_TRUE(store.put(record_of({}), false));
      stored += store.put(shared, false) ? 1 : 0;
    });
  }
  for (std::thread& station : stations) station.join();
  EXPECT_EQ(stored, 1);
  Store store(uri);
  for (const char* table : {"run", "measurement"})
    EXPECT_EQ(number_from(&store.database(), std::string("SELECT COUNT(*) FROM ") + table), kStations * kRuns + 1);
  EXPECT_EQ(number_from(&store.database(), "SELECT COUNT(*) FROM setup"), 1);
  EXPECT_EQ(number_from(&store.database(), "SELECT COUNT(*) FROM series"), 1);
}

// "2 %" of what is measured is another limit in each run.
TEST_P(StoreTest, LimitsThatAreNearlyAlikeMakeNoSeriesEach) {
  Store store(place());
  const double limits[] = {10.0041, 9.9966, 10, 11.2, 10.02};
  std::vector<record::Run> runs;
  for (const double limit : limits) {
    runs.push_back(record_of({.attempts = {{{"noise", 1, -limit, limit}}}}));
    ASSERT_TRUE(store.put(runs.back(), false));
  }
  EXPECT_EQ(number_from(&store.database(), "SELECT COUNT(*) FROM series"), 3);
  EXPECT_EQ(number_from(&store.database(), "SELECT COUNT(*) FROM measurement WHERE high IS NULL"), 1);
  std::multiset<double> found;
  for (const auto& stored : history(&store.database(), "A1", 0, true)) {
    const record::Measurement& m = stored.run.steps.at(0).attempts.at(0).measurements.at(0);
    EXPECT_EQ(m.low, -*m.high);
    found.insert(*m.high);
  }
  EXPECT_THAT(found, ::testing::UnorderedElementsAreArray(limits));
  // Whichever came first.
  std::multiset<double> held;
  for (const Characteristic& c : statistics(&store.database(), {}).characteristics)
    for (const LimitsThen& then : c.limits_then) held.insert(*then.limits.second);
  EXPECT_THAT(held, ::testing::UnorderedElementsAre(9.9966, 10, 11.2));
  // A study takes all that may follow what is measured for one.
  for (const auto& studied : {grr::stored_series(&store.database(), {}), grr::series_of(runs, "")}) {
    held.clear();
    for (const grr::Series& series : studied.series) {
      EXPECT_EQ(*series.subject.low, -*series.subject.high);
      held.insert(*series.subject.high);
    }
    EXPECT_THAT(held, ::testing::UnorderedElementsAre(9.9966, 10));
  }
}

TEST_P(StoreTest, TakesAnyName) {
  using namespace std::string_literals;
  const std::string names[] = {"'; DROP TABLE run; --",
                               "\"quoted\" \\ :day $1 ?1",
                               "\xF0\x9F\x93\xB1 \xE2\x9C\x93",
                               "\xff\xfe\x80 not UTF-8 \xed\xa0\x80",
                               "zero\0byte"s,
                               std::string(10000, 'x'),
                               "\xff",
                               to_stored("\xff"),
                               "\xf4\x8f\xbc",
                               "\xc0\x80",
                               "line\nfeed\ttab"};
  Store store(place());
  for (const std::string& name : names) {
    const MadeRun run{
        .serial = name, .station = name, .plan = name, .profile = name, .attempts = {{{name, 0.001, -0.02, 0.02}}}};
    ASSERT_TRUE(store.put(record_of(run), false));
  }
  for (const std::string& name : names) {
    const Found found = history(&store.database(), name, 0, true);
    ASSERT_EQ(found.size(), 1U) << name;
    EXPECT_EQ(found[0].run.serial, name);
    EXPECT_EQ(measurement(found, 0, 0, 0).name, name);
    const Filter filter = {.station = name, .plan = name, .profile = name, .measurement = name};
    const Statistics stats = statistics(&store.database(), filter);
    EXPECT_EQ(stats.runs.passed, 1) << name;
    ASSERT_EQ(stats.characteristics.size(), 1U) << name;
    EXPECT_EQ(stats.characteristics[0].plan, name);
    EXPECT_EQ(to_json(stats)["measurements"][0]["plan"].asString(), to_stored(name));
  }
}

TEST_P(StoreTest, KeepsWhatCannotBeAddedUp) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  Store store(place());
  MadeRun run;
  for (const double value : {std::nan(""), kInfinity, -kInfinity, 1e300, 1e-200, 1.0, 3.0}) {
    run.attempts = {{{"residual", value, -kInfinity, 10}}};
    ASSERT_TRUE(store.put(record_of(run), false));
    ++run.started_ms;
  }
  const Found found = history(&store.database(), "A1", 0, true);
  const double wanted[] = {3.0, 1.0, 1e-200, 1e+300, -kInfinity, kInfinity};
  for (size_t i = 0; i < 6; ++i) EXPECT_EQ(measurement(found, i, 0, 0).value, wanted[i]);
  EXPECT_TRUE(std::isnan(measurement(found, 6, 0, 0).value));
  for (const char* station : {"south", "north"})
    ASSERT_TRUE(store.put(record_of({.serial = "B2", .station = station, .attempts = {{}}}), false));
  const Statistics all = statistics(&store.database(), {});
  const std::vector<Characteristic>& c = all.characteristics;
  ASSERT_EQ(c.size(), 1U);
  EXPECT_EQ(c[0].unusable, 4);
  const std::string text = to_text(all, "Runs");
  for (const char* told : {", 4 not usable", "outliers are not looked for: fewer than eight values",
                           "a phone that was at several counts at each"})
    EXPECT_THAT(text, HasSubstr(told));
  EXPECT_EQ(c[0].all.count, 3);
  EXPECT_DOUBLE_EQ(c[0].all.mean, 4.0 / 3);
}

TEST_P(StoreTest, TakesAnyClock) {
  Store store(place());
  const long long times[] = {0, -5, 1, 1764000000000, 1763000000000, 4102444800000, 7258118400000};
  for (const long long ms : times) EXPECT_TRUE(store.put(record_of({.started_ms = ms}), false)) << ms;
  const Found found = history(&store.database(), "A1", 1, false);
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(iso_time(found[0].run.started), "2200-01-01T00:00:00.000Z");
  EXPECT_EQ(statistics(&store.database(), {}).runs.passed, 7);
}

// An error is a verdict of its own, which older programs would count as a failure.
TEST_P(StoreTest, BringsAnOlderStoreUpToDate) {
  for (const int version : {1, 2, 3}) {
    SCOPED_TRACE(version);
    const Folder folder;
    const Uri uri = fresh_place(GetParam(), folder);
    {
      Database old(uri, Database::Access::create);
      migrate(&old, version);
    }
    Store store(uri);
    EXPECT_EQ(store.id().size(), 32U);
    for (const auto& [serial, verdict] : {std::pair("A1", record::Outcome::error), {"A2", record::Outcome::passed}})
      ASSERT_TRUE(store.put(record_of({.serial = serial, .verdict = verdict, .samples = 1}), true));
    EXPECT_EQ(number_from(&store.database(), "SELECT COUNT(*) FROM sample"), 4);
    EXPECT_EQ(number_from(&store.database(),
                          "SELECT COUNT(*) FROM run r JOIN verdict v ON v.code = r.verdict WHERE "
                          "v.name = 'error' AND r.failed_step = 'Acc'"),
              1);
    const Statistics stats = statistics(&store.database(), {});
    EXPECT_EQ(std::tuple(stats.runs.errors, stats.runs.failed, stats.yield.units, stats.yield.passed),
              std::tuple(1, 0, 1, 1));
    EXPECT_TRUE(stats.failures.empty());
    EXPECT_EQ(history(&store.database(), "A1", 0, false).at(0).run.outcome, record::Outcome::error);
  }
}

TEST_P(StoreTest, RefusesANewerStore) {
  const Uri uri = place();
  Store(uri).database().run("INSERT INTO schema_version (version) VALUES (99)");
  EXPECT_THAT([&] { Store store(uri); },
              ThrowsMessage<StoreError>(HasSubstr("version 99, this program knows versions up to 5")));
}

TEST(StoreFileTest, MigratesAStoreOfVersion1) {
  Folder folder;
  const Uri uri = parse_uri(folder.file("it's an \"old\" store?.db"));
  {
    Database old(uri, Database::Access::create);
    std::ifstream file(TEST_DATA_DIR "/store/version1.sql");
    std::string statement;
    while (std::getline(file, statement, ';')) {
      if (statement.find_first_not_of(" \n") != std::string::npos) old.run(statement);
    }
  }
  Store store(uri);
  EXPECT_TRUE(store.put(record_of({}), false));
  EXPECT_EQ(number_from(&store.database(), "SELECT MAX(version) FROM schema_version"), newest_schema());
  const Found found = history(&store.database(), "OLD1", 0, true);
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(measurement(found, 0, 0, 0).value, 0.25);
  EXPECT_EQ(statistics(&store.database(), {}).yield.units, 3);
  // Series that were told apart by limits that follow the value become one.
  Store to(parse_uri(folder.file("to.db")));
  copy_runs(&to, &store.database(), {});
  EXPECT_EQ(number_from(&to.database(), "SELECT COUNT(*) FROM series WHERE high > 1"), 1);
  EXPECT_EQ(measurement(history(&to.database(), "OLD1", 0, true), 0, 0, 0).high, 1.0625);
  EXPECT_EQ(measurement(history(&to.database(), "OLD2", 0, true), 0, 0, 0).high, 1.05859375);
}

// As a user who may not write: an archive, or a colleague's store.
TEST(StoreFileTest, IsReadWhereItCannotBeWritten) {
  Folder folder;
  const Uri uri = parse_uri(folder.file("store.db"));
  const Uri old = parse_uri(folder.file("old.db"));
  Store(uri).put(record_of({}), false);
  {
    Database made(old, Database::Access::create);
    migrate(&made, 3);
  }
  ASSERT_EQ(chmod(uri.place.c_str(), 0444) + chmod(old.place.c_str(), 0444), 0);
  ASSERT_EQ(chmod(folder.file("").c_str(), 0555), 0);
  const pid_t reader = fork();
  if (reader == 0) {
    if (geteuid() == 0 && setuid(65534) != 0) _exit(3);
    try {
      Database database(uri, Database::Access::reading);
      require_schema(&database);
      if (number_from(&database, "SELECT COUNT(*) FROM run") != 1) _exit(4);
      Database older(old, Database::Access::reading);
      require_schema(&older);
    } catch (const StoreError& error) {
      _exit(std::string(error.what()).find("may not be written to bring it up to date") == std::string::npos ? 5 : 0);
    }
    _exit(6);
  }
  int status = 0;
  waitpid(reader, &status, 0);
  EXPECT_EQ(status, 0) << WEXITSTATUS(status);
  chmod(folder.file("").c_str(), 0755);
}

// Into one that has runs of its own, whose numbers are others, and one of these runs already. More than one part: days
// are not torn.
TEST(StoreFileTest, CopiedRunsAreTheSame) {
  Folder folder;
  Store from(parse_uri(folder.file("from.db")));
  Store to(parse_uri(folder.file("to.db")));
  ASSERT_TRUE(to.put(record_of({.plan = "own"}), true));
  std::vector<record::Run> runs;
  for (int i = 0; i < 6000; ++i) {
    runs.push_back(record_of({.serial = "S\xff" + std::to_string(i / 2),
                              .station = i % 3 == 0 ? "north" : "south",
                              .started_ms = MadeRun().started_ms + i / 600 * 86400000LL + i,
                              .attempts = {{{"residual", i == 7 ? std::nan("") : 0.1 * i, -1, 1}},
                                           {{"noise", 0.25, -1 - i % 3 * 1e-4, i % 5 + 1.0 + i % 7 * 1e-4}}},
                              .samples = i % 1000 == 0 ? 3 : 0}));
  }
  from.put(runs, true);
  ASSERT_TRUE(to.put(runs[3], true));
  const Copied first = copy_runs(&to, &from.database(), {.station = "north"});
  EXPECT_EQ(first.stored, 1999);
  EXPECT_EQ(first.were_there, 1);
  EXPECT_EQ(number_from(&to.database(), "SELECT COUNT(*) FROM setup"), 2);
  const Copied rest = copy_runs(&to, &from.database(), {});
  EXPECT_EQ(rest.stored, 4000);
  EXPECT_EQ(rest.were_there, 2000);
  EXPECT_EQ(number_from(&to.database(), "SELECT COUNT(*) FROM pragma_foreign_key_check"), 0);
  for (const char* table : {"step", "attempt", "measurement", "sample_window", "sample"}) {
    const std::string count = std::string("SELECT COUNT(*) FROM ") + table;
    const long long own_rows = number_from(&to.database(), count + " WHERE run = 1");
    EXPECT_EQ(number_from(&to.database(), count), number_from(&from.database(), count) + own_rows) << table;
  }
  for (const size_t i : {0U, 3U, 7U, 1000U, 5999U}) {
    const auto text = [&](Store& store) { return json_line(to_json(stored_run(&store.database(), runs[i].id)->run)); };
    EXPECT_EQ(text(to), text(from)) << i;
  }
  // What runs have in common is found again.
  ASSERT_TRUE(to.put(record_of({}), true));
  EXPECT_EQ(number_from(&to.database(), "SELECT COUNT(*) FROM setup"), 3);
}

TEST(StoreFileTest, ForeignKeysHold) {
  Folder folder;
  Store store(parse_uri(folder.file("store.db")));
  EXPECT_THROW(store.database().run("INSERT INTO step VALUES (1, 77, 1, 1, 0, 1)"), StoreError);
}

}  // namespace
}  // namespace factory::store
