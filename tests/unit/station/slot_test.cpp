// What a slot makes of its runner's words, and when it believes a verdict.
#include "station/slot.h"

#include "files/json_text.h"
#include "record/record_json.h"

namespace factory::station {
namespace {

using record::Outcome;

constexpr char kPlan[] = "the plan";
constexpr char kId[] = "019a1b2c-0000-7000-8000-000000000001";

class StationSlot : public testing::Test {
 protected:
  StationSlot() {
    plan_.bytes = kPlan;
    plan_.file = "p.json";
    plan_.sha256 = "abc";
    ordered_.run = 7;
    ordered_.order.serial = "A1";
    ordered_.order.station = "line-3";
    ordered_.order.operator_name = "Li Na";
    ordered_.plan = &plan_;
    ordered_.id = kId;
    slot_.begin(ordered_);
  }

  Json::Value state() const { return slot_.to_json(pace_); }
  std::string problem() const { return state()["problem"]["text"].asString(); }

  const record::Run& ends(const RunnerEnd& how) {
    const record::Run& out = slot_.end(how);
    EXPECT_TRUE(state()["verdict"].isNull());
    slot_.show();
    return out;
  }

  const record::Run& expect_error(const std::string& why) {
    const record::Run& ended = ends({0, "", ""});
    EXPECT_EQ(ended.outcome, Outcome::error) << why;
    EXPECT_THAT(problem(), ::testing::HasSubstr(why));
    return ended;
  }

  // A run of one step.
  void run(const std::string& verdict, const std::string& last_line) {
    slot_.begin(ordered_);
    slot_.hear(R"({"event": "begun", "steps": 1})");
    slot_.hear(R"({"event": "begins", "step": 1, "name": "calibrate Acc"})");
    slot_.hear(R"({"event": "ended", "step": 1, "verdict": ")" + verdict + "\"}");
    slot_.hear(last_line);
  }

  // A runner's last line.
  static std::string record_line(Outcome outcome, int code, const std::string& serial = "A1",
                                 const std::string& plan = kPlan, int slow_s = 0,
                                 const std::string& why = "value.outside") {
    record::Run run;
    run.id = kId;
    run.serial = serial;
    run.plan.bytes = plan;
    run.outcome = outcome;
    run.started = record::Clock::now() - std::chrono::seconds(slow_s);
    record::Step step;
    step.index = 1;
    step.name = "calibrate Acc";
    step.outcome = outcome;
    record::Attempt attempt;
    attempt.started = run.started + std::chrono::seconds(1);
    attempt.seconds = 3;
    attempt.outcome = outcome;
    attempt.reasons = {record::Text(why, {"x"}, "x is outside")};
    attempt.hints = {"try again"};
    step.attempts.push_back(attempt);
    run.steps.push_back(step);
    return R"({"event": "record", "exit_code": )" + std::to_string(code) + ", \"record\": " + json_line(to_json(run)) +
           "}";
  }

  SlotSettings settings_{"left-1", "L", {}};
  PlanChoice plan_;
  Ordered ordered_;
  Pace pace_;
  Slot slot_{settings_};
};

TEST_F(StationSlot, TellsTheSameErrorTwice) {
  const std::tuple<const char*, const char*, bool> kRows[] = {{"hub.silent", "hub.silent", true},
                                                              {"hub.silent", "call.hangs", false},
                                                              {"", "hub.silent", false},
                                                              {"fixture.not_set", "fixture.not_set", false}};
  for (const auto& [before, code, told] : kRows) {
    ordered_.error = before;
    run("error", record_line(Outcome::error, 3, "A1", kPlan, 0, code));
    const record::Run& ended = ends({3, "", ""});
    EXPECT_EQ(ended.remarks.size(), told ? 1U : 0U) << before;
    const std::string first = state()["failing"]["hints"][0]["text"].asString();
    EXPECT_EQ(first.starts_with("the same error as in the run before"), told) << before;
  }
}

TEST_F(StationSlot, FollowsItsRunner) {
  using Heard = Slot::Heard;
  const auto changes = [&](const char* event) { EXPECT_EQ(slot_.hear(event), Heard::change) << event; };
  EXPECT_EQ(Slot(settings_).to_json(pace_)["elapsed_seconds"], 0.0);
  EXPECT_EQ(state()["phase"], "starting");
  changes(R"({"event": "begun", "steps": 2})");
  changes(R"({"event": "begins", "step": 1, "attempt": 2, "name": "set up", "kind": "fixture"})");
  changes(R"({"event": "warns", "step": 1, "text": "cannot be undone"})");
  changes(R"({"event": "prompt", "prompt": 3, "step": 1, "settings": {"up": "flat"}, "instructions": ["Lay it"]})");
  EXPECT_EQ(state()["phase"], "running");
  EXPECT_EQ(state()["attempt"], 2);
  EXPECT_EQ(state()["warns"], "cannot be undone");
  EXPECT_EQ(state()["prompt"]["code"], "left-1-7-3");
  EXPECT_EQ(state()["prompt"]["settings"]["up"], "flat");
  EXPECT_TRUE(state()["left_seconds"].isNull());
  slot_.answered();
  EXPECT_TRUE(state()["prompt"].isNull());
  for (const char* code : {"left-1-7-3", "left-1-6-1"}) EXPECT_TRUE(slot_.was_prompt_code(code));
  for (const char* code : {"left-1-7", "left-1-7-", "left-1--3", "left-1-7-3x", "left-1-7-3-1", "7-3", "A1"})
    EXPECT_FALSE(slot_.was_prompt_code(code)) << code;
  changes(
      R"({"event": "begins", "step": 2, "attempt": 1, "name": "calibrate Acc", "kind": "calibrate", "tag": "Acc"})");
  EXPECT_TRUE(state()["warns"].isNull());
  EXPECT_EQ(slot_.hear(R"({"event": "sample", "step": 2, "tag": "Acc", "values": [1, "nan", 3], "restarts": 1})"),
            Heard::sample);
  EXPECT_EQ(json_line(slot_.live(pace_)["values"]), "[1,null,3]");
  for (const std::string verdict : {"passed", "marginal", "skipped"}) {
    changes(R"({"event": "ended", "step": 2, "verdict": "failed", "reasons": [{"text": "x is outside"}]})");
    EXPECT_EQ(state()["failing"]["name"], "calibrate Acc");
    changes((R"({"event": "ended", "step": 2, "verdict": ")" + verdict + "\"}").c_str());
    EXPECT_TRUE(state()["failing"].isNull()) << verdict;
  }
  // A calibration may end after the next step began.
  slot_.hear(R"({"event": "begins", "step": 3, "attempt": 1, "name": "verify Gyr", "kind": "verify", "tag": "Gyr"})");
  slot_.hear(R"({"event": "ended", "step": 2, "verdict": "failed", "reasons": ["x"]})");
  slot_.hear(R"({"event": "ended", "step": 3, "verdict": "passed"})");
  EXPECT_EQ(state()["failing"]["name"], "calibrate Acc");
  EXPECT_EQ(state()["name"], "verify Gyr");
  EXPECT_EQ(slot_.hear(R"({"event": "of a later version"})"), Heard::nothing);
  slot_.hear(record_line(Outcome::failed, 1));
  const record::Run& run = ends({1, "", ""});
  EXPECT_EQ(run.outcome, Outcome::failed);
  EXPECT_EQ(run.station + run.operator_name, "line-3Li Na");
  EXPECT_EQ(state()["phase"], "over");
  EXPECT_EQ(state()["verdict"], "failed");
  EXPECT_TRUE(state()["problem"].isNull());
  slot_.begin(ordered_);
  EXPECT_TRUE(state()["verdict"].isNull());
}

// A verdict counts where everything about it fits; all else is an error, never a pass.
TEST_F(StationSlot, BelievesAVerdictThatFits) {
  const std::tuple<std::string, int, Outcome, const char*> rows[] = {
      {record_line(Outcome::passed, 0), 0, Outcome::passed, ""},
      {record_line(Outcome::passed, 3), 3, Outcome::passed, ""},  // a file of the phone's was not delivered
      {record_line(Outcome::passed, 0, ""), 0, Outcome::passed, ""},
      {record_line(Outcome::failed, 1), 1, Outcome::failed, ""},
      {record_line(Outcome::aborted, 130), 130, Outcome::aborted, ""},
      {record_line(Outcome::passed, 0), 1, Outcome::error, "passed with exit code 0, the runner ended with 1"},
      {record_line(Outcome::passed, 1), 1, Outcome::error, "passed with exit code 1, the runner ended with 1"},
      {record_line(Outcome::failed, 1), 0, Outcome::error, "failed with exit code 1, the runner ended with 0"},
      {record_line(Outcome::passed, 0), -1, Outcome::error, "ended by a signal. Its last words: adb: gone"},
      {record_line(Outcome::passed, 0, "A2"), 0, Outcome::error, "the record is of serial number A2, not of A1"},
      {record_line(Outcome::passed, 0, "A1", "other"), 0, Outcome::error, "the record is of another plan than p.json"},
      {R"({"event": "record", "exit_code": 0, "record": {"schema": "sensorcal.run/9"}})", 0, Outcome::error,
       "its record cannot be read"},
      {R"({"event": "record", "exit_code": 0})", 0, Outcome::error, "its record cannot be read"},
      {R"({"event": "refused", "exit_code": 2, "text": "no such plan"})", 2, Outcome::error, "no such plan"},
      {"", 0, Outcome::error, "the runner ended without a record, with exit code 0. Its last words: adb: gone"},
  };
  for (const auto& [line, code, outcome, why] : rows) {
    run("passed", line);
    const record::Run& run = ends({code, code < 0 ? "ended by a signal" : "", "adb: gone"});
    EXPECT_EQ(run.outcome, outcome) << line;
    EXPECT_EQ(run.serial, "A1");
    EXPECT_EQ(state()["verdict"], outcome_name(outcome));
    EXPECT_THAT(problem(), ::testing::HasSubstr(why));
    EXPECT_EQ(state()["problem"].isNull(), *why == '\0');
    EXPECT_EQ(run.remarks.size(), *why == '\0' ? 0 : 1);
    EXPECT_EQ(state()["failing"].isNull(), outcome != Outcome::failed && outcome != Outcome::aborted) << line;
  }
  // What the record of another phone measured is not this one's.
  slot_.begin(ordered_);
  slot_.hear(record_line(Outcome::passed, 0, "A2"));
  EXPECT_TRUE(ends({0, "", ""}).steps.empty());
  run("passed", record_line(Outcome::passed, 0));
  EXPECT_EQ(ends({1, "", ""}).steps.size(), 1U);
  slot_.begin(ordered_);
  slot_.hear(record_line(Outcome::failed, 1));
  ends({1, "", ""});
  EXPECT_EQ(state()["failing"]["reasons"][0]["code"], "value.outside");
  EXPECT_EQ(state()["failing"]["hints"][0]["text"], "try again");
}

// A runner that says passed of a run that did not is broken, and its phone has not passed. What was kept of another run
// says nothing of this one, whosever phone it was; clocks tell nothing.
TEST_F(StationSlot, BelievesNoPassThatItsRunDenies) {
  const std::string passed = record_line(Outcome::passed, 0);
  const struct {
    const char* part;
    const char* instead;
    const char* problem;
    size_t nth = 0;
  } rows[] = {
      // Of the attempt, and of its step.
      {R"("verdict":"passed")", R"("verdict":"failed")",
       "passed, and the last attempt at step 1, calibrate Acc, is failed"},
      {R"("verdict":"passed")", R"("verdict":"failed")", "the record says", 1},
      {R"("index":1)", R"("index":2)", "is number 2 in it"},
      {"calibrate Acc", "calibrate Gyr", "step 1, calibrate Gyr, is number 1 in it and was told as \"calibrate Acc\""},
      {R"("kind":"")", R"("kind":"verify")", "is \"verify \" in it and was told as \" \""},
      {"000000000001\"", "000000000002\"", "the record is of another run, 019a1b2c-0000-7000-8000-000000000002"},
      {"019a1b2c-0000-7000-8000-000000000001", "", "the record has no id"},
      {R"("station":"")", R"("station":"line-4")", "the record is of station line-4, not of line-3"},
      {R"("operator":"")", R"("operator":"Wu")", "the record is of operator Wu, not of Li Na"},
      {R"("seconds":0.0,"serial")", R"("seconds":9.0,"serial")", "the record is of 9 s, and the run took 0 s"}};
  for (const auto& [part, instead, why, nth] : rows) {
    std::string line = passed;
    size_t at = line.find(part);
    for (size_t i = 0; i < nth; ++i) at = line.find(part, at + 1);
    run("passed", line.replace(at, strlen(part), instead));
    const record::Run& ended = expect_error(why);
    EXPECT_EQ(ended.id + ended.station + ended.operator_name, std::string(kId) + "line-3Li Na");
  }
  run("failed", passed);
  expect_error("step 1, calibrate Acc, is passed in it and was failed");
  slot_.begin(ordered_);
  slot_.hear(passed);
  expect_error("the record says passed with 1 steps of 0");
  for (const char* more : {passed.c_str(), "and this"}) {
    run("passed", passed);
    slot_.hear(more);
    expect_error("it went on after its record");
  }
  // What nobody ordered is not the run's, and its plan's name is that of its bytes.
  plan_.name = "small";
  std::string line = passed;
  const std::string serial = R"("serial":"A1")";
  run("passed", line.replace(line.find(serial), serial.size(), serial + R"(,"lot":"golden")"));
  const record::Run& kept = ends({0, "", ""});
  EXPECT_EQ(std::string(outcome_name(kept.outcome)) + kept.lot + kept.plan.name, "passedsmall");
}

// Runs are ordered by their times, and phones on a line have any.
TEST_F(StationSlot, TakesTheTimeFromTheStation) {
  const std::pair<int, int> rows[] = {{-5000, 0}, {-30, 0}, {30, 0}, {5000, 0}, {5000, 1}};
  for (const auto& [slow_s, code] : rows) {
    run("passed", record_line(Outcome::passed, 0, "A1", kPlan, slow_s));
    const record::Run& run = ends({code, "", ""});
    const bool is_set = std::abs(slow_s) > 60;
    EXPECT_EQ(run.remarks.size(), (is_set ? 1 : 0) + code) << slow_s;
    EXPECT_NEAR(std::chrono::duration<double>(record::Clock::now() - run.started).count(), is_set ? 0 : slow_s, 2);
    EXPECT_EQ(run.steps[0].attempts[0].started - run.started, std::chrono::seconds(1));
  }
}

// Whatever a runner says, the state is small, and text.
TEST_F(StationSlot, TakesTextsOfRunnersForData) {
  Json::Value event;
  event["event"] = "prompt";
  event["prompt"] = "three";
  event["settings"]["up"] = Json::Value(Json::arrayValue);
  event["settings"]["deep"]["er"] = std::string(100000, 'x');
  event["instructions"] = std::string(100000, 'x');
  slot_.hear(json_line(event));
  event["event"] = "begins";
  event["step"] = 1e300;
  event["name"] = "<script>\x1b[31m\xff" + std::string(100000, 'x');
  slot_.hear(json_line(event));
  event["event"] = "ended";
  event["verdict"] = Json::Value(Json::objectValue);
  for (int i = 0; i < 100; ++i) event["reasons"].append(event["name"]);
  slot_.hear(json_line(event));
  EXPECT_EQ(state()["step"], 0);
  EXPECT_TRUE(state()["name"].asString().starts_with("<script>\\u001b[31m\\xff"));
  EXPECT_LT(json_line(state()).size(), 30000u);
  int lines = 0;
  while (slot_.hear("* daemon started") != Slot::Heard::nonsense) ++lines;
  EXPECT_EQ(lines, 20);
}

TEST_F(StationSlot, TellsTheTimeLeftByTheRunsBefore) {
  record::Run run;
  for (int i = 1; i <= 3; ++i) {
    record::Step step;
    step.index = i;
    step.attempts.resize(1);
    if (i == 2) step.attempts[0].window.emplace().bias_limit = {2, 3};
    run.steps.push_back(step);
  }
  for (const int seconds : {4, 100, 5}) {
    for (record::Step& step : run.steps)
      step.attempts[0].started = run.started + std::chrono::seconds((step.index - 1) * seconds);
    run.seconds = 3 * seconds;
    pace_.learn("abc", run);
  }
  EXPECT_EQ(pace_.left("abc", 1, 0), 15);
  EXPECT_EQ(pace_.left("abc", 2, 1.5), 8.5);
  EXPECT_EQ(pace_.left("abc", 2, 60), 5);
  EXPECT_EQ(pace_.left("abc", 3, 60), 0);
  EXPECT_FALSE(pace_.left("abc", 4, 0));
  EXPECT_FALSE(pace_.left("another", 1, 0));
  slot_.hear(R"({"event": "sample", "step": 2, "values": [1]})");
  EXPECT_EQ(json_line(slot_.live(pace_)["limits"]), "[[-2.0,2.0],[-3.0,3.0]]");
  slot_.hear(R"({"event": "sample", "step": 3, "values": [1]})");
  EXPECT_TRUE(slot_.live(pace_)["limits"].isNull());
}

}  // namespace
}  // namespace factory::station
