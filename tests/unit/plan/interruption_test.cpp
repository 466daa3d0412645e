// Ctrl-C ends a run at once, with the old values in the hub and a record.
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "station.h"

// Where a run cannot be woken the process leaves with its threads where they stand, by design; the thread sanitizer
// would call those leaked.
extern "C" const char* __tsan_default_options() { return "report_thread_leaks=0"; }

namespace plan_test {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Interrupts so long after a step begins.
struct Interrupter : factory::plan::Observer {
  Interrupter(int step, milliseconds delay) : step_(step), delay_(delay) {}
  ~Interrupter() override { since(); }
  // Since the interruption, once it came.
  steady_clock::duration since() {
    if (thread_.joinable()) thread_.join();
    return steady_clock::now() - at_;
  }
  void begins(const Step& step, int) override {
    if (step.index != step_) return;
    thread_ = std::thread([this] {
      std::this_thread::sleep_for(delay_);
      at_ = steady_clock::now();
      kill(getpid(), SIGINT);
    });
  }

 private:
  steady_clock::time_point at_;
  const int step_;
  const milliseconds delay_;
  std::thread thread_;
};

TEST(Interruption, EndsAtOnceAndLeavesTheOldValues) {
  const std::string both = R"({"calibrate": "Acc"}, {"calibrate": "Gyr"})";
  const std::string probed = R"({"probe": "tof", "expect": true}, )" + both;
  const std::tuple<std::string, int, std::vector<Outcome>, bool> kRows[] = {
      // In the run, and between the run's push to the hub (after 1.06 s) and the end of the fresh samples.
      {probed, 300, {Outcome::passed, Outcome::aborted, Outcome::skipped}, false},
      {probed, 1400, {Outcome::passed, Outcome::aborted, Outcome::skipped}, true},
      // Fresh samples that come while the next one runs do not show yet that it is good.
      {R"({"group": "g", "steps": [)" + both + "]}", 300, {Outcome::aborted, Outcome::aborted}, true},
  };
  Station station;
  ASSERT_EQ(station.run(both).outcome, Outcome::passed);
  const std::vector<float> acc = station.offset(sensor_type::accelerometer);
  const std::vector<float> gyr = station.offset(sensor_type::gyroscope);
  station.options.speed = "1";
  for (const auto& [steps, delay, wanted, put_back] : kRows) {
    SCOPED_TRACE(steps + " " + std::to_string(delay));
    Interrupter interrupter(2, milliseconds(delay));
    const Station::Ran ran = station.run(steps, &interrupter);
    EXPECT_LT(interrupter.since(), milliseconds(2000));
    EXPECT_EQ(ran.outcome, Outcome::aborted);
    std::vector<Outcome> outcomes;
    for (const Step& step : ran.steps) outcomes.push_back(step.outcome);
    EXPECT_EQ(outcomes, wanted);
    const Attempt& of_acc = ran.attempt(outcomes.size() - 2);
    EXPECT_EQ(of_acc.put_back, put_back);
    EXPECT_FALSE(of_acc.kept);
    EXPECT_EQ(station.offset(sensor_type::accelerometer), acc);
    EXPECT_EQ(station.offset(sensor_type::gyroscope), gyr);
  }
}

// Looks beside the one that is waited for go with it.
TEST(Interruption, LeavesNoSensorOn) {
  Station run;
  run.options.speed = "1";
  Interrupter interrupter(2, milliseconds(300));
  const std::string look = R"(, "samples": 500, "limits": {"noise": "1 m/s^2"}})";
  const factory::record::Run ran = run.record(
      R"({"group": "looks", "steps": [{"verify": "Acc", "samples": 2, "limits": {"noise": "1 m/s^2"}},
         {"verify": "Acc2")" +
          look + R"(, {"verify": "Lux", "limits": {"low": "0 lux"}},
         {"verify": "Gyr", "samples": 500, "limits": {"noise": "1 rad/s"}}]})",
      &interrupter);
  EXPECT_LT(interrupter.since(), milliseconds(2000));
  EXPECT_EQ(ran.outcome, Outcome::aborted);
  EXPECT_EQ(ran.steps[1].outcome, Outcome::aborted);
  EXPECT_EQ(ran.steps[2].outcome, Outcome::skipped);
  EXPECT_EQ(run.on("4.1"), 2);  // the others' looks began before its own
  EXPECT_EQ(run.on(), 0);
}

// The hub's own colour run cannot be woken: the watcher ends the process, after it put back and wrote the record.
TEST(InterruptionDeathTest, WhatCannotBeWokenIsLeftWithARecord) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        Station station("hub-colour");
        station.options.fault = {"hub-word:40,0,-1"};
        station.options.speed = "1";
        const auto plan = plan_of(R"({"group": "g", "steps": [{"calibrate": "Acc"},
            {"calibrate": "CCT_F_strm", "golden": [800, 1200, 600, 2000, 400, 300, 200]}]})");
        Session session(station.options);
        Interrupter interrupter(2, milliseconds(200));
        PlanRun run(session, plan, {}, interrupter);
        session.set_last_will([&](const std::string& why) {
          const Station::Ran ran{run.abort(why)};
          fprintf(stderr, "record: %s, steps %s, put back %d, and %s\n", outcome_name(ran.outcome),
                  outcome_name(ran.steps[0].outcome), ran.attempt(0).put_back, outcome_name(ran.steps[1].outcome));
        });
        run.run();
        _exit(0);
      },
      ::testing::ExitedWithCode(factory::kInterrupted), "record: aborted, steps aborted, put back 1, and aborted");
}

}  // namespace
}  // namespace plan_test
