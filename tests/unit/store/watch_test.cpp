// What is told while it happens, and how often it is told for nothing.
#include "quality/watch.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

#include "records.h"

namespace factory::store {
namespace {

// A line of phones of which a share fails, at one of several stations in turn.
class Line {
 public:
  explicit Line(unsigned seed) : random_(seed) {}

  // Until something stands, at most so many; how many it took.
  int run(int phones, double share, int stations, int bad_station = -1, double bad_share = 0) {
    for (int i = 1; i <= phones; ++i) {
      const int station = i % stations;
      const double fails = station == bad_station ? bad_share : share;
      watch.add({"p", std::to_string(station), std::to_string(++serial_), serial_ * 1000LL,
                 std::uniform_real_distribution<double>()(random_) >= fails});
      const size_t standing = watch.standing().size();
      alarms += standing > stood_ ? static_cast<int>(standing - stood_) : 0;
      stood_ = standing;
      if (bad_station >= 0 && standing > 0) return i;
    }
    return phones;
  }

  YieldWatch watch;
  int alarms = 0;  // that began

 private:
  std::mt19937_64 random_;
  int serial_ = 0;
  size_t stood_ = 0;
};

// After how many phones of the only station, or of one of four, a share that fails is told in half of the cases.
int told_after(int stations, double share, double bad_share, unsigned lines) {
  std::vector<int> found;
  for (unsigned seed = 1000; seed < 1000 + lines; ++seed) {
    Line line(seed);
    line.run(3000, share, stations);
    if (line.alarms == 0) found.push_back(line.run(40000, share, stations, 0, bad_share) / stations);
  }
  std::sort(found.begin(), found.end());
  return found[found.size() / 2];
}

// The table of docs/formats/store.md, there of 1,000 lines each.
TEST(WatchTest, TellsADropAndHardlyEverNothing) {
  constexpr unsigned kLines = 30;
  // A share, and after how many it is told at most.
  constexpr std::tuple<double, int, int, int> kRows[] = {
      {0.005, 4000, 5000, 300}, {0.02, 900, 900, 80}, {0.1, 130, 130, 30}};
  for (const auto& [share, tripled, of_four_tripled, tenfold] : kRows) {
    SCOPED_TRACE(share);
    int alarms = 0;
    for (unsigned seed = 0; seed < kLines; ++seed) {
      Line unchanged(seed);
      unchanged.run(30000, share, 4);
      alarms += unchanged.alarms;
    }
    EXPECT_LE(alarms, 3);
    EXPECT_LE(told_after(1, share, 3 * share, kLines), tripled);
    EXPECT_LE(told_after(4, share, 3 * share, kLines), of_four_tripled);
    EXPECT_LE(told_after(4, share, std::min(1.0, 10 * share), kLines), tenfold);
  }
}

TEST(WatchTest, AnAlertNamesItsPhonesAndEnds) {
  YieldWatch watch;
  const auto add = [&](int count, const char* station, bool passed) {
    static int serial = 0;
    for (int i = 0; i < count; ++i) watch.add({"p", station, "S" + std::to_string(++serial), serial, passed});
  };
  for (int i = 0; i < 10; ++i) {
    add(30, "n", true);
    add(30, "s", true);
  }
  EXPECT_TRUE(watch.standing().empty());
  add(7, "s", false);
  const std::vector<Alert> alerts = watch.standing();
  ASSERT_EQ(alerts.size(), 2U);
  EXPECT_EQ(alerts[0].kind, "yield");
  EXPECT_EQ(alerts[1].about, "plan p at station s");
  EXPECT_EQ(alerts[1].phones, (std::vector<std::string>{"S601", "S602", "S603", "S604", "S605", "S606", "S607"}));
  EXPECT_NE(alerts[1].text.find("7 of 7 phones failed at once"), std::string::npos) << alerts[1].text;
  EXPECT_EQ(alerts[1].since_ms, 601);
  add(20, "s", true);
  EXPECT_TRUE(watch.standing().empty());
}

// One station's values are off, one's move at last, the third is as ever, and one passes what has to fail.
TEST(WatchTest, AStationAndAChartThatCryAreTold) {
  const Folder folder;
  Store store(fresh_place(kinds().front(), folder));
  std::mt19937_64 random(1);
  std::normal_distribution<double> normal;
  for (int day = 0; day < 35; ++day) {
    for (const char* station : {"n", "s", "t"}) {
      for (int i = 0; i < 6; ++i) {
        const double off = *station == 's' ? 3 : *station == 't' && day >= 30 ? 2 : 0;
        MadeRun made{.serial = station + std::to_string(day * 10 + i), .station = station};
        made.started_ms += day * 86400000LL + i * 1000;
        made.attempts = {{{"residual", normal(random) + off, -20, 20}}};
        store.put(record_of(made), false);
      }
    }
  }
  MadeRun made{.serial = "", .station = "t", .verdict = record::Outcome::passed};
  made.attempts = {{{"residual", 999, -20, 20}}};
  for (int i = 0; i < 30; ++i) {  // the last eight for the second time
    made.serial = "bad-" + std::to_string(i < 22 ? i : i - 8);
    made.started_ms += 1000;
    store.put(record_of(made), false);
  }
  Filter filter = {.marked = {{"golden", "n1?", {}, {}}, {"known bad", "bad-*", {}, {}}}};
  require_known(&store.database(), &filter);
  std::vector<std::string> told;
  for (const Alert& alert : standing_alerts(&store.database(), filter, {})) {
    told.push_back(alert.kind + " " + alert.about);
    if (alert.kind == "marked") {
      EXPECT_EQ(alert.text, "known bad phones bad-*: 30 runs passed, the last at station t");
      EXPECT_EQ(alert.phones.size(), 20U);
      EXPECT_EQ(std::set<std::string>(alert.phones.begin(), alert.phones.end()).size(), 20U);
      EXPECT_EQ(alert.phones.back(), "bad-21");
      EXPECT_EQ(alert.more, 2);
      EXPECT_NE(to_text(alert).find(", bad-21 and 2 more\n"), std::string::npos) << to_text(alert);
      continue;
    }
    EXPECT_GE(alert.phones.size(), 10U) << told.back();
    EXPECT_GT(alert.more, 0) << told.back();
    EXPECT_EQ(alert.phones.front().front(), alert.kind == "station" ? 's' : 't') << told.back();
  }
  EXPECT_EQ(told, (std::vector<std::string>{"marked known bad phones bad-*",
                                            "station Acc: residual x at station s, plan inertial",
                                            "chart Acc: residual x at station t, plan inertial"}));
}

}  // namespace
}  // namespace factory::store
