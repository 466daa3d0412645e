// Runs wait at the station and come up once, whatever ends in between.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <set>

#include "files/app_error.h"
#include "files/json_text.h"
#include "records.h"
#include "store/run_id.h"
#include "store/spool.h"

namespace factory::store {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::ThrowsMessage;

class SyncTest : public testing::TestWithParam<std::string> {
 protected:
  Uri place() { return fresh_place(GetParam(), folder_); }
  // A number of the run stands in its serial number.
  static record::Run numbered(int i) { return record_of({.serial = "S" + std::to_string(i)}); }
  static void expect_each_once(const Uri& uri, int count) {
    Store store(uri);
    EXPECT_EQ(number_from(&store.database(), "SELECT COUNT(*) FROM run"), count);
    EXPECT_EQ(number_from(&store.database(), "SELECT COUNT(DISTINCT serial) FROM run"), count);
    for (const char* table : {"step", "attempt", "measurement"})
      EXPECT_EQ(number_from(&store.database(), std::string("SELECT COUNT(*) FROM ") + table), count) << table;
  }
  Folder folder_;
};
INSTANTIATE_TEST_SUITE_P(, SyncTest, testing::ValuesIn(kinds()), [](const auto& kind) { return kind.param; });

TEST_P(SyncTest, BringsWhatWaits) {
  const Uri uri = place();
  Spool spool(folder_.file("spool.db"));
  for (int i = 0; i < 5; ++i) spool.keep(numbered(i), false);
  // The answer to this one was lost: the store has it.
  Store(uri).put(numbered(5), false);
  const record::Run twice = numbered(6);
  Store(uri).put(twice, false);
  spool.keep(twice, false);
  const Brought brought = bring_up(&spool, uri, 60);
  EXPECT_EQ(brought.stored, 5);
  EXPECT_EQ(brought.were_there, 1);
  EXPECT_EQ(brought.waiting, 0);
  EXPECT_EQ(brought.away, "");
  expect_each_once(uri, 7);
}

TEST_P(SyncTest, OneThatIsRefusedHoldsNoOtherUp) {
  const Uri uri = place();
  Spool spool(folder_.file("spool.db"));
  record::Run bad = numbered(0);
  bad.id = "00000000-no-run";
  spool.keep(bad, false);
  spool.keep(numbered(1), false);
  const Brought brought = bring_up(&spool, uri, 60);
  EXPECT_EQ(brought.stored, 1);
  EXPECT_EQ(brought.waiting, 1);
  ASSERT_EQ(brought.refused.size(), 1U);
  EXPECT_THAT(brought.refused[0], HasSubstr("is no id of a run"));
}

TEST_P(SyncTest, KilledAtAnyMomentLosesAndDoublesNothing) {
  constexpr int kRounds = 25;
  const Uri uri = place();
  const std::string spool_file = folder_.file("spool.db");
  { const Store made(uri); }
  std::mt19937 random(4711);
  int kept[2];
  ASSERT_EQ(pipe(kept), 0);
  std::set<std::string> promised;
  std::chrono::microseconds first_promise(5000);  // what a machine takes, as the rounds' measure; in memory at once
  for (int round = 0; round < kRounds; ++round) {
    const pid_t station = fork();
    if (station == 0) {
      close(kept[0]);
      Spool spool(spool_file);
      for (int i = round * 1000;; ++i) {
        spool.keep(numbered(i), false);
        // From here on the station has promised it.
        if (write(kept[1], &i, sizeof i) != sizeof i) _exit(1);
        bring_up(&spool, uri, 60);
      }
    }
    if (round == 0) {
      const auto begin = std::chrono::steady_clock::now();
      int serial = 0;
      EXPECT_EQ(read(kept[0], &serial, sizeof serial), static_cast<ssize_t>(sizeof serial));
      first_promise =
          std::max(first_promise,
                   std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - begin));
      promised.insert("S" + std::to_string(serial));
    } else {  // from before the first promise until after some
      usleep(static_cast<useconds_t>(random() % static_cast<uint64_t>(4 * first_promise.count() + 1)));
    }
    kill(station, SIGKILL);
    waitpid(station, nullptr, 0);
  }
  close(kept[1]);
  for (int i = 0; read(kept[0], &i, sizeof i) == sizeof i;) promised.insert("S" + std::to_string(i));
  close(kept[0]);

  Spool spool(spool_file);
  const Brought last = bring_up(&spool, uri, 60);
  EXPECT_EQ(last.waiting, 0);
  EXPECT_EQ(last.away, "");
  Store store(uri);
  const long long runs = number_from(&store.database(), "SELECT COUNT(*) FROM run");
  // Of each round one run may have been kept without the promise having been told.
  EXPECT_GE(runs, static_cast<long long>(promised.size()));
  EXPECT_LE(runs, static_cast<long long>(promised.size()) + kRounds);
  EXPECT_GT(promised.size(), 1U);  // on a busy machine few rounds come that far
  expect_each_once(uri, static_cast<int>(runs));
  for (const std::string& serial : promised) {
    int found = 0;
    store.database().sql() << "SELECT COUNT(*) FROM run WHERE serial = :serial", soci::use(serial), soci::into(found);
    ASSERT_EQ(found, 1) << serial;
  }
}

TEST_P(SyncTest, GivesUpOnASilentServer) {
  if (GetParam() == "sqlite") GTEST_SKIP() << "a file does not fall silent";
  const Uri uri = place();
  Store other(uri);
  Spool spool(folder_.file("spool.db"));
  spool.keep(numbered(0), false);
  // While it opens the store, and while it writes the run.
  for (const char* table : {"schema_version", "measurement"}) {
    Transaction holding(&other.database());
    other.database().run(std::string("LOCK TABLE ") + table + " IN ACCESS EXCLUSIVE MODE");
    const auto start = std::chrono::steady_clock::now();
    const Brought brought = bring_up(&spool, uri, 0.5);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)) << table;
    EXPECT_NE(brought.away, "") << table;
    EXPECT_EQ(brought.waiting, 1) << table;
  }
}

TEST(SpoolTest, NoServerThere) {
  Folder folder;
  Spool spool(folder.file("spool.db"));
  spool.keep(record_of({}), false);
  const Uri uri = parse_uri("postgresql://station:s3cret@/line?host=" + folder.file("nowhere"));
  const Brought brought = bring_up(&spool, uri, 1);
  EXPECT_EQ(brought.waiting, 1);
  EXPECT_NE(brought.away, "");
  EXPECT_THAT(brought.away, Not(HasSubstr("s3cret")));
}

TEST(RunIdTest, IsUniqueAndInTheOrderOfTime) {
  using std::chrono::milliseconds;
  std::set<std::string> ids;
  std::string before;
  for (int i = 0; i < 2000; ++i) {
    const std::chrono::system_clock::time_point time{milliseconds(1764000000000 + i / 1000)};
    const std::string id = make_run_id(time);
    EXPECT_EQ(time_of_id_ms(id), 1764000000000 + i / 1000);
    ids.insert(id);
  }
  EXPECT_EQ(ids.size(), 2000U);
  EXPECT_LT(make_run_id(std::chrono::system_clock::time_point(milliseconds(1))),
            make_run_id(std::chrono::system_clock::time_point(milliseconds(2))));
  for (const char* bad : {"", "x", "0199f5a3-1c00-4abc-8123-0123456789ab", "0199F5A3-1c00-7abc-8123-0123456789ab",
                          "0199f5a3-1c00-7abc-8123-0123456789ab0"})
    EXPECT_THROW(time_of_id_ms(bad), StoreError) << bad;
}

// Each may be somebody's line: no run waits for one and comes to another.
TEST_P(SyncTest, ASpoolBelongsToOneStore) {
  const Uri uri = place();
  Folder elsewhere;
  const Uri other = fresh_place(GetParam(), elsewhere);
  Spool spool(folder_.file("spool.db"));
  require_owner(&spool, other);  // nobody's yet
  spool.keep(numbered(0), false);
  EXPECT_EQ(bring_up(&spool, uri, 60).stored, 1);
  spool.keep(numbered(1), false);
  EXPECT_THROW(require_owner(&spool, other), StoreError);
  const Brought refused = bring_up(&spool, other, 60);
  EXPECT_EQ(refused.waiting, 1);
  EXPECT_THAT(refused.away, HasSubstr(" is another store and needs a spool of its own"));
  EXPECT_EQ(number_from(&Store(other).database(), "SELECT COUNT(*) FROM run"), 0);
  // The same store by another name.
  Uri renamed = uri;
  renamed.shown += "#2";
  require_owner(&spool, renamed);
  EXPECT_EQ(spool.owner().address, renamed.shown);
  EXPECT_EQ(bring_up(&spool, uri, 60).stored, 1);
}

TEST(UriTest, TellsKindsApart) {
  EXPECT_EQ(parse_uri("sqlite:/a/../b.db").place, "/b.db");
  EXPECT_FALSE(parse_uri("some file.db").postgresql);
  for (const char* bad : {"sqlite:", "", "mysql://h/db"}) EXPECT_THROW(parse_uri(bad), AppError) << bad;
}

TEST(UriTest, TellsNoPassword) {
  const std::pair<const char*, const char*> shown[] = {
      {"postgresql://u:s3cret@h/db", "postgresql://u@h/db"},
      {"postgresql://u:s3cret%40%2F?@h:5/db?a=b", "postgresql://u@h:5/db?a=b"},
      {"postgres://h/db?password=s3cret&a=b", "postgres://h/db?password=...&a=b"},
      {"postgresql://h?a=b&sslpassword=s3cret", "postgresql://h?a=b&sslpassword=..."},
      {"postgresql://h?p%61ssword=s3cret%zz", "postgresql://h?p%61ssword=..."}};
  for (const auto& [text, wanted] : shown) EXPECT_EQ(parse_uri(text).shown, wanted);
  // What the server's client library would take for a host or a port, and tell; and what is no address at all.
  for (const char* bad : {"postgresql://u:s3@cret@h/db", "postgresql://u:s3/cret@h/db", "POSTGRESQL://u:s3cret@h/db",
                          "mysql://u:s3cret@h/db", "host=h user=u password=s3cret"})
    EXPECT_THAT([&] { parse_uri(bad); }, ThrowsMessage<AppError>(Not(HasSubstr("cret")))) << bad;
  // The client library tells what it cannot decode.
  const Uri undecoded = parse_uri("postgresql://u:s3cret%zz@/line?host=/nowhere");
  EXPECT_THAT([&] { Database(undecoded, Database::Access::create); },
              ThrowsMessage<StoreError>(Not(HasSubstr("s3cret"))));
}

}  // namespace
}  // namespace factory::store
