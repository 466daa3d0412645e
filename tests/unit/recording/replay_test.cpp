// A replay comes to the record of the run, whatever went wrong in it; a damaged recording comes to nothing.
#include <sstream>

#include "simulator/trace.h"
#include "station.h"

namespace plan_test {
namespace {

using test::content;

constexpr char kCalibrations[] =
    R"({"fixture": {"up": "flat"}}, {"calibrate": "Acc", "repeat": 2, "on_failure": "go on"},
       {"calibrate": "Gyr", "on_failure": "go on"},
       {"verify": "Acc", "samples": 20, "limits": {"noise": "0.05 m/s^2"}})";

// For what is in vain until the time is over.
constexpr char kOne[] = R"({"calibrate": "Acc"})";

// The hub remarks that it has none.
constexpr char kUnknownGolden[] = R"({"calibrate": "CCT_F_strm", "param": -1})";

struct Case {
  const char* name;
  std::vector<std::string> faults;
  const char* verdict;
  const char* speed = "max";
  const char* steps = kCalibrations;
};

class Replay : public ::testing::TestWithParam<Case> {};

TEST_P(Replay, GivesTheRecordedRecord) {
  Station run;
  run.options.fault = GetParam().faults;
  run.options.speed = GetParam().speed;
  const factory::record::Run recorded = run.record(GetParam().steps);
  EXPECT_STREQ(outcome_name(recorded.outcome), GetParam().verdict);
  const std::string trace = content(run.trace());
  EXPECT_THAT(factory::differences(recorded, run.replay()), ::testing::IsEmpty());
  EXPECT_EQ(content(run.recording() + "/record.json"), factory::json_pretty(to_json(recorded)) + "\n");
  EXPECT_EQ(content(run.trace()), trace);
}

INSTANTIATE_TEST_SUITE_P(
    Faults, Replay,
    ::testing::Values(
        Case{"none", {}, "passed"}, Case{"none_in_time", {}, "passed", "20"},
        Case{"remark", {}, "passed", "max", kUnknownGolden},
        Case{"silent", {"silent:16"}, "failed", "max", R"({"calibrate": "Gyr"})"},
        Case{"motion", {"motion:Acc,8"}, "failed", "max", kOne}, Case{"not_a_number", {"nan:Acc"}, "failed"},
        Case{"straggler", {"straggler:Acc", "straggler:Gyr"}, "passed"}, Case{"duplicate", {"duplicate:Acc"}, "passed"},
        Case{"burst", {"burst:Acc,8"}, "passed"}, Case{"wrong_handle", {"wrong-handle:Acc"}, "failed", "max", kOne},
        Case{"queue_refused", {"queue-refused:4"}, "error"}, Case{"queue_never", {"queue-never"}, "error"},
        Case{"enable_refused", {"enable-refused:Acc,3"}, "failed"},
        Case{"sensors_vanish", {"sensors-vanish:4"}, "error"}, Case{"sensors_absent", {"sensors-absent"}, "error"},
        Case{"hub_vanish", {"hub-vanish:5"}, "error"}, Case{"hub_absent", {"hub-absent"}, "error"},
        Case{"hub_fail", {"hub-fail"}, "error"}),
    [](const auto& test) { return test.param.name; });

// Files of the device are the recorded ones, also those that cannot be written, and so is the panel's brightness.
TEST(ReplayOfFiles, FollowsTheDevicesFiles) {
  for (const std::string fault : {"", "persist-read-only", "brightness-clamped:300", "brightness-read-only"}) {
    Station run;
    if (!fault.empty()) run.options.fault = {fault};
    const factory::record::Run recorded = run.record(
        R"({"fixture": {"target": "none"}}, {"calibrate": "Prx", "param": 0, "on_failure": "go on"},
           {"fixture": {"dark-box": "on"}}, {"calibrate": "Lux", "param": 13, "on_failure": "go on"})");
    EXPECT_THAT(factory::differences(recorded, run.replay()), ::testing::IsEmpty()) << fault;
  }
}

// The lines with the sums that they would have been recorded with.
std::string resealed(const std::string& text) {
  std::istringstream in(text);
  std::string out;
  for (std::string line; std::getline(in, line);)
    out += factory::trace::sealed(line.substr(0, line.rfind(",\"sum\":")) + "}") + "\n";
  return out;
}

// Whatever the lines of a recording hold, it is refused before anything is played.
TEST(DamagedRecording, IsRefusedAtOnce) {
  Station run;
  run.record(R"({"fixture": {"target": "none"}}, {"calibrate": "Prx", "param": 0, "on_failure": "go on"})");
  const std::string whole = content(run.trace());
  // In the first line with a text, a part, and what is there instead; no part: the line is missing.
  const std::tuple<const char*, const char*, const char*> kDamages[] = {
      {"\"ask\":\"hub\"", "{", "["},
      {"\"event\":", nullptr, ""},
      {"\"event\":", "\"data\":\"", "\"data\":\"0"},
      {"\"event\":", "00000000\"", "0000000g\""},
      {"\"event\":", "\"time\":", "\"time\":[],\"other\":"},
      {"\"ask\":\"enable\"", "\"enabling\":", "\"enabling\":{},\"other\":"},
      {"\"ask\":\"facts\"", "facts", "fakes"},
      {"\"reply\":\"", "\"reply\":\"", "\"reply\":\"1\",\"other\":\""},
      {"\"sensors\":", "\"sensors\":[", "\"sensors\":[3,"},
      {"\"ask\":\"files\"", "\"answer\":{", "\"answer\":{\"/../x\":\"00\","},
      {"\"format\"", "recording/5", "recording/6"},
  };
  for (const auto& [in_line, part, instead] : kDamages) {
    SCOPED_TRACE(instead);
    size_t at = whole.find(in_line);
    ASSERT_NE(at, std::string::npos);
    at = whole.rfind('\n', at) + 1;  // npos + 1 is the beginning
    const size_t end = whole.find('\n', at) + 1;
    std::string damaged = whole;
    if (part == nullptr) {
      damaged.erase(at, end - at);
    } else {
      const size_t from = whole.find(part, at);
      ASSERT_LT(from, end);
      damaged.replace(from, strlen(part), instead);
    }
    std::ofstream(run.trace(), std::ios::binary) << resealed(damaged);
    EXPECT_THAT([&] { run.replay(); },
                ::testing::AllOf(
                    ::testing::ThrowsMessage<factory::AppError>(::testing::HasSubstr("trace.jsonl:")),
                    ::testing::Throws<factory::AppError>(::testing::Field(&factory::AppError::code, factory::kUsage))));
  }
}

// Times, the log and the program may be others: a replay does not promise them.
TEST(Differences, AreTold) {
  factory::record::Run a;
  a.steps.emplace_back().attempts.emplace_back().hub.emplace_back().time = "today";
  factory::record::Run b = a;
  b.application.version = "2.0";
  b.seconds = 4;
  b.steps[0].attempts[0].hub[0].time = "tomorrow";
  b.steps[0].attempts[0].log.emplace_back();
  EXPECT_THAT(factory::differences(a, b), ::testing::IsEmpty());
  b.steps[0].attempts[0].notes.emplace_back("x");
  EXPECT_THAT(factory::differences(a, b),
              ::testing::ElementsAre("steps[0].attempts[0].notes: 0 entries recorded, now 1"));
  b.outcome = factory::record::Outcome::passed;
  b.steps.emplace_back();
  EXPECT_THAT(factory::differences(a, b), ::testing::ElementsAre("steps: 1 entries recorded, now 2",
                                                                 R"(verdict: recorded "failed", now "passed")"));
}

}  // namespace
}  // namespace plan_test
