// A wall clock that is set in the middle of a run changes no verdict: durations go by another one, and what the library
// did by it is void.
#include <host/wall_clock.h>
#include <stepped_clock.h>

#include "station.h"

namespace plan_test {
namespace {

constexpr char kAcc[] = R"({"calibrate": "Acc"})";

TEST(ClockStep, ChangesNoVerdict) {
  if (!test::clock_can_be_stepped()) GTEST_SKIP();
  const std::tuple<std::vector<std::string>, Outcome, size_t> kRows[] = {
      {{"clock-step:600"}, Outcome::passed, 2},
      {{"clock-step:-600"}, Outcome::passed, 2},
      {{"clock-step:3e9"}, Outcome::passed, 2},
      {{"clock-step:-3e9"}, Outcome::passed, 2},  // before 1970
      {{"clock-step:600", "motion:Acc,1"}, Outcome::failed, 2},
      {{"clock-step:60,1000"}, Outcome::error, 2},
      {{"clock-step:0.1,1000"}, Outcome::passed, 1},  // how a clock is kept right
      // Nothing ends a wait for a silent sensor but the guard.
      {{"clock-step:-3e9", "silent:Acc"}, Outcome::failed, 2},
  };
  for (const auto& [faults, outcome, attempts] : kRows) {
    SCOPED_TRACE(::testing::PrintToString(faults));
    Station station;
    station.options.fault = faults;
    const Station::Ran ran = station.run(kAcc);
    ASSERT_EQ(ran.steps[0].attempts.size(), attempts);
    const Attempt& first = ran.attempt(0);
    EXPECT_EQ(ran.outcome, outcome) << (first.reasons.empty() ? "" : first.reasons[0].text);
    if (attempts > 1) {
      EXPECT_EQ(first.outcome, Outcome::error);
      EXPECT_EQ(first.reasons.at(0).code, "clock.stepped") << first.reasons.at(0).text;
      EXPECT_FALSE(first.kept);
    }
    EXPECT_EQ(host::wall_clock_offset_ns(), 0) << "of a phone that is closed";
    // Labels are in order.
    auto last = ran.started;
    for (const Attempt& attempt : ran.steps[0].attempts) {
      EXPECT_GE(attempt.started, last);
      EXPECT_LT(attempt.seconds, 15);
      EXPECT_GE(attempt.seconds, 0);
      last = attempt.started;
    }
    EXPECT_LT(ran.seconds, 30);
  }
}

}  // namespace
}  // namespace plan_test
