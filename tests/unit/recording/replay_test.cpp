// A replay comes to the very record of the run, whatever went wrong in it.
#include "recorded_run.h"

// A run that is left where it stands leaves its threads, by design.
extern "C" const char* __tsan_default_options() { return "report_thread_leaks=0"; }

namespace recording_test {
namespace {

constexpr char kCalibrations[] =
    R"({"fixture": {"up": "flat"}}, {"calibrate": "Acc", "repeat": 2, "on_failure": "go on"},
       {"calibrate": "Gyr", "on_failure": "go on"},
       {"verify": "Acc", "samples": 20, "limits": {"noise": "0.05 m/s^2"}})";

struct Case {
  const char* name;
  std::vector<std::string> faults;
  const char* verdict;
  const char* speed = "max";
};

class Replay : public ::testing::TestWithParam<Case> {};

TEST_P(Replay, GivesTheRecordedRecord) {
  RecordedRun run;
  run.options.fault = GetParam().faults;
  run.options.speed = GetParam().speed;
  const Json::Value recorded = run.record(kCalibrations);
  EXPECT_EQ(recorded["verdict"], GetParam().verdict);
  const std::string tape = read(run.tape());
  const Json::Value replayed = run.replay();
  EXPECT_EQ(factory::json_pretty(replayed), factory::json_pretty(recorded));
  EXPECT_EQ(factory::json_pretty(replayed) + "\n", read(run.folder() + "/record.json"));
  EXPECT_EQ(read(run.tape()), tape);
}

INSTANTIATE_TEST_SUITE_P(
    Faults, Replay,
    ::testing::Values(
        Case{"none", {}, "passed"}, Case{"none_in_time", {}, "passed", "20"}, Case{"silent", {"silent:16"}, "failed"},
        Case{"motion", {"motion:Acc,8"}, "failed", "50"}, Case{"not_a_number", {"nan:Acc"}, "failed"},
        Case{"straggler", {"straggler:Acc", "straggler:Gyr"}, "passed"}, Case{"duplicate", {"duplicate:Acc"}, "passed"},
        Case{"burst", {"burst:Acc,8"}, "passed"}, Case{"wrong_handle", {"wrong-handle:Acc"}, "failed"},
        Case{"queue_refused", {"queue-refused:4"}, "failed"}, Case{"queue_never", {"queue-never"}, "failed"},
        Case{"enable_refused", {"enable-refused:Acc,3"}, "failed"},
        Case{"sensors_vanish", {"sensors-vanish:4"}, "failed"}, Case{"sensors_absent", {"sensors-absent"}, "failed"},
        Case{"hub_vanish", {"hub-vanish:5"}, "failed"}, Case{"hub_absent", {"hub-absent"}, "failed"},
        Case{"hub_fail", {"hub-fail"}, "failed"}),
    [](const auto& test) { return test.param.name; });

// Files of the device are the recorded ones, also those that cannot be written, and so is the panel's brightness.
TEST(ReplayOfFiles, FollowsTheDevicesFiles) {
  for (const std::string fault : {"", "persist-read-only", "brightness-clamped:300", "brightness-read-only"}) {
    RecordedRun run;
    if (!fault.empty()) run.options.fault = {fault};
    const Json::Value recorded = run.record(
        R"({"fixture": {"target": "none"}}, {"calibrate": "Prx", "param": 0, "on_failure": "go on"},
           {"fixture": {"dark-box": "on"}}, {"calibrate": "Lux", "param": 13, "on_failure": "go on"})");
    EXPECT_EQ(factory::json_pretty(run.replay()), factory::json_pretty(recorded)) << fault;
  }
}

// Ctrl-C in each phase: in the run, in the fresh samples, between hub messages.
TEST(ReplayOfAnInterruption, EndsWhereTheRunDid) {
  struct Interrupter : factory::plan::Observer {
    explicit Interrupter(int delay_ms) : delay_(delay_ms) {}
    ~Interrupter() override {
      if (thread_.joinable()) thread_.join();
    }
    void begins(const factory::plan::StepResult& step, int) override {
      if (step.index != 2) return;
      thread_ = std::thread([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(delay_));
        kill(getpid(), SIGINT);
      });
    }
    int delay_;
    std::thread thread_;
  };
  for (const int delay_ms : {0, 2, 40, 300, 1100, 1400, 2500}) {
    RecordedRun run;
    run.options.speed = "1";
    Interrupter interrupter(delay_ms);
    const Json::Value recorded = run.record(kCalibrations, &interrupter);
    EXPECT_EQ(recorded["verdict"], "aborted") << delay_ms;
    EXPECT_EQ(factory::json_pretty(run.replay()), factory::json_pretty(recorded)) << delay_ms;
  }
}

TEST(Differences, AreTold) {
  Json::Value a;
  a["verdict"] = "passed";
  a["steps"].append(1);
  a["application"] = "1.0";
  Json::Value b = a;
  b["application"] = "2.0";
  EXPECT_THAT(factory::differences(a, b), ::testing::IsEmpty());
  b["verdict"] = "failed";
  b["steps"].append(2);
  b["more"] = true;
  EXPECT_THAT(factory::differences(a, b),
              ::testing::ElementsAre("more: recorded null, now true", "steps: 1 entries recorded, now 2",
                                     R"(verdict: recorded "passed", now "failed")"));
}

}  // namespace
}  // namespace recording_test
