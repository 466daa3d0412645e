// Months of a store on a server go, or go elsewhere, while stations write.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "quality/history.h"
#include "quality/statistics.h"
#include "records.h"
#include "store/store.h"

namespace factory::store {
namespace {

constexpr long long kOldMs = 1736899200000;  // 2025-01-15
constexpr long long kNewMs = 1764000000000;  // 2025-11-24
constexpr long long kMonthMs = 31 * 86400000LL;
constexpr int kOldRuns = 20;
const char* const kLarge[] = {"run", "step", "attempt", "measurement", "sample_window", "sample"};

struct Way {
  const char* name;
  std::vector<std::string> once;  // beforehand
  std::vector<std::string> each;  // for each large table; $ is its name
  bool stays;                     // the old month still counts
};

class PartsTest : public testing::TestWithParam<Way> {};
INSTANTIATE_TEST_SUITE_P(
    , PartsTest,
    testing::Values(Way{"dropped", {}, {"DROP TABLE $_2025_01"}, false},
                    Way{"moved",
                        {"CREATE SCHEMA archive"},
                        {"ALTER TABLE $ DETACH PARTITION $_2025_01", "ALTER TABLE $_2025_01 SET SCHEMA archive"},
                        false},
                    Way{"moved_and_kept", {"CREATE SCHEMA kept"}, {"ALTER TABLE $_2025_01 SET SCHEMA kept"}, true},
                    Way{"to_another_disk",
                        {"SET allow_in_place_tablespaces = on", "CREATE TABLESPACE slow LOCATION ''"},
                        {"ALTER TABLE $_2025_01 SET TABLESPACE slow"},
                        true}),
    [](const auto& way) { return std::string("postgresql_") + way.param.name; });

record::Run run_at(long long ms, const std::string& serial) {
  return record_of({.serial = serial, .started_ms = ms, .samples = 2});
}

std::string for_table(std::string sql, const char* table) {
  for (size_t at = sql.find('$'); at != std::string::npos; at = sql.find('$')) sql.replace(at, 1, table);
  return sql;
}

// Now and then of another month, whose part it makes.
void write_runs(const Uri& uri, const std::atomic<bool>& over, std::atomic<int>* written) {
  Store store(uri);
  while (!over) {
    const int number = *written;
    const long long ms = kNewMs + number + number % 7 * kMonthMs;
    ASSERT_TRUE(store.put(run_at(ms, "new"), true));
    ++*written;
  }
}

TEST_P(PartsTest, OldMonthsGoWhileStationsWrite) {
  if (kinds()[0] != "postgresql") GTEST_SKIP() << "a file has no parts";
  const Folder folder;
  const Uri uri = fresh_place("postgresql", folder);
  Store store(uri);
  Database& database = store.database();
  for (int i = 0; i < kOldRuns; ++i) ASSERT_TRUE(store.put(run_at(kOldMs + i, "old"), true));
  ASSERT_EQ(number_from(&database, "SELECT COUNT(*) FROM sample_2025_01"), kOldRuns * 4);

  std::atomic<bool> over = false;
  std::atomic<int> written[2] = {0, 0};
  std::vector<std::thread> stations;
  for (auto& count : written) stations.emplace_back([&] { write_runs(uri, over, &count); });
  const auto write_more = [&] {
    for (auto& count : written) {
      for (const int before = count; count < before + 5 && !HasFatalFailure();)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  };
  write_more();
  for (const std::string& sql : GetParam().once) database.run(sql);
  for (const char* table : kLarge) {
    for (const std::string& sql : GetParam().each) database.run(for_table(sql, table));
    write_more();
  }
  over = true;
  for (std::thread& station : stations) station.join();

  const int kept = GetParam().stays ? kOldRuns : 0;
  const int all = written[0] + written[1] + kept;
  for (const char* table : {"run", "step", "attempt", "measurement", "sample_window"})
    EXPECT_EQ(number_from(&database, std::string("SELECT COUNT(*) FROM ") + table), all) << table;
  EXPECT_EQ(statistics(&database, {}).runs.passed, all);
  EXPECT_EQ(history(&database, "old", 0, true).size(), static_cast<unsigned>(kept));
  // A station that had been away brings a run of that month.
  EXPECT_TRUE(Store(uri).put(run_at(kOldMs, "late"), true));
  EXPECT_EQ(history(&database, "late", 0, true).size(), 1U);
}

}  // namespace
}  // namespace factory::store
