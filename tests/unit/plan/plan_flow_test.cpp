// Order, attempts, groups, and the record of it all.
#include <android/log.h>

#include <cmath>
#include <numeric>

#include "phone/hub_message.h"
#include "phone/log_tap.h"
#include "station.h"

namespace plan_test {
namespace {

namespace record = factory::record;
using ::testing::_;
using ::testing::ElementsAre;
using ::testing::FieldsAre;
using ::testing::HasSubstr;
using ::testing::Not;

std::vector<std::string> verdicts(const Station::Ran& ran) {
  std::vector<std::string> out;
  for (const Step& step : ran.steps)
    out.push_back(outcome_name(step.outcome) + (" " + std::to_string(step.attempts.size())));
  return out;
}

constexpr char kPasses[] = R"({"probe": "tof", "expect": true})";
constexpr char kFails[] = R"({"probe": "tof", "expect": false})";

TEST(PlanFlow, StopsOrGoesOnAsThePlanAndTheOrderSay) {
  const std::string passes = kPasses;
  const std::string fails = kFails;
  const std::string fails_on = R"({"probe": "tof", "expect": false, "on_failure": "go on"})";
  const std::string other_chip = R"({"calibrate": "Prx", "param": 5, "repeat": 3, "on_failure": "go on"})";
  const struct {
    std::string steps;
    std::vector<std::string> verdicts;
    bool stop_on_failure = false;
  } kRows[] = {
      {passes + "," + passes, {"passed 1", "passed 1"}},
      {fails + "," + passes, {"failed 1", "skipped 0"}},
      {fails_on + "," + passes, {"failed 1", "passed 1"}},
      {fails_on + "," + passes, {"failed 1", "skipped 0"}, true},
      // A group is tried as a whole, and every attempt is kept.
      {R"({"group": "g", "repeat": 3, "steps": [)" + passes + "," + fails + "," + passes + "]}," + passes,
       {"passed 3", "failed 3", "skipped 0", "skipped 0"}},
      {R"({"group": "g", "repeat": 2, "on_failure": "go on", "steps": [)" + fails_on + "," + passes + "]}," + passes,
       {"failed 2", "passed 2", "passed 1"}},
      {R"({"group": "g", "repeat": 2, "on_failure": "go on", "steps": [)" + fails_on + "," + passes + "]}," + passes,
       {"failed 2", "skipped 0", "skipped 0"},
       true},
      {R"({"probe": "tof", "expect": false, "repeat": 4, "on_failure": "go on"})", {"failed 4"}},
      // Chips stay what they are: neither the step nor its group is tried again, the rest of the group runs.
      {R"({"group": "g", "repeat": 3, "steps": [)" + other_chip + "," + passes + "]}", {"error 1", "passed 1"}},
  };
  for (const auto& row : kRows) {
    Station station;
    station.order.stop_on_failure = row.stop_on_failure;
    EXPECT_EQ(verdicts(station.run(row.steps)), row.verdicts) << row.steps;
  }
}

TEST(PlanFlow, ASecondAttemptMayPass) {
  Station station;
  // Tilted first, set down by the step before the group's second attempt.
  const Station::Ran tilted = station.run(
      R"({"fixture": {"up": "tilted:40"}},
         {"group": "g", "repeat": 2, "steps": [
           {"verify": "Acc", "expect": ["0 g", "0 g", "1 g"], "limits": {"residual": "0.2 g"}, "on_failure": "go on"},
           {"fixture": {"up": "flat"}}]})");
  EXPECT_EQ(tilted.outcome, Outcome::passed);
  EXPECT_EQ(verdicts(tilted), (std::vector<std::string>{"passed 1", "passed 2", "passed 2"}));
  EXPECT_EQ(tilted.attempt(1, 0).outcome, Outcome::failed);
  EXPECT_THAT(tilted.attempt(1, 0).reasons[0].text, HasSubstr("x: residual"));
}

// Probes ask the sensor service alone: here the hub never answers.
TEST(PlanFlow, WhatDidNotPassFirstDecides) {
  const std::string passes = kPasses;
  const std::string fails = R"({"probe": "tof", "expect": false, "on_failure": "go on"})";
  const std::string errs = R"({"check": "Acc", "value": "offset", "limits": {"low": "-1 g"}, "on_failure": "go on"})";
  const std::tuple<std::string, std::vector<std::string>, Outcome> kRows[] = {
      {fails + "," + errs, {"failed 1", "error 1"}, Outcome::failed},
      {errs + "," + fails, {"error 1", "failed 1"}, Outcome::error},
      {errs + "," + passes, {"error 1", "passed 1"}, Outcome::error},
      {R"({"calibrate": "Acc"}, )" + passes, {"error 1", "skipped 0"}, Outcome::error},
  };
  for (const auto& [steps, by_step, outcome] : kRows) {
    Station station;
    station.options.fault = {"hub-fail"};
    const Station::Ran ran = station.run(steps);
    EXPECT_EQ(verdicts(ran), by_step) << steps;
    EXPECT_EQ(ran.outcome, outcome) << steps;
  }
}

TEST(PlanFlow, TheSameErrorTwiceMayBeThePhonesFault) {
  Station station;
  station.options.fault = {"hub-fail"};
  const Station::Ran ran = station.run(R"({"calibrate": "Acc", "repeat": 2})");
  EXPECT_THAT(ran.attempt(0, 0).notes, Not(::testing::Contains(HasSubstr("the same error"))));
  EXPECT_THAT(ran.attempt(0, 1).notes, ::testing::Contains(HasSubstr("the phone itself may be at fault")));
}

TEST(PlanFlow, AMarginalValueIsReportedAndPasses) {
  Station station;
  const Station::Ran ran = station.run(
      R"({"fixture": {"lux": "190 lux"}}, {"verify": "Lux_F", "expect": "200 lux",
          "limits": {"low": "1 lux", "high": "1000 lux", "marginal": "40 %"}})");
  ASSERT_EQ(ran.outcome, Outcome::passed);
  EXPECT_EQ(ran.steps[1].outcome, Outcome::marginal);
  EXPECT_TRUE(to_json(ran)["marginal"].asBool());
}

TEST(PlanRecord, TellsWhatWasUnderWayAndHowTheFixtureStood) {
  Station station;
  const Station::Ran ran = station.run(R"({"fixture": {"lux": "190 lux"}}, {"calibrate": "Acc"})");
  EXPECT_EQ(ran.world.at("lux"), "190");
  EXPECT_EQ(ran.steps[1].sensor, "accelerometer");
  std::vector<std::string> whats;
  double last = 0;
  for (const record::Span& span : ran.attempt(1).spans) {
    whats.push_back(span.sensor + " " + span.what);
    EXPECT_GE(span.from_s, last);
    EXPECT_GE(span.to_s, span.from_s);
    last = span.to_s;
  }
  EXPECT_THAT(whats, ElementsAre("Acc read before", "Acc sample", "Acc verify", "Acc verify", "Acc read back"));
  EXPECT_LE(last, ran.seconds + 0.001);
}

TEST(PlanRecord, TheWindowTellsWhatBecameOfEachSample) {
  Station station;
  const Station::Ran ran = station.run(R"({"calibrate": "Acc"})");
  const Attempt& attempt = ran.attempt(0);
  int count[3] = {};
  std::vector<double> accepted;
  for (const record::Sample& sample : attempt.window->samples) {
    ++count[static_cast<size_t>(sample.state)];
    if (sample.state == record::SampleState::accepted) accepted.push_back(sample.values[2]);
  }
  EXPECT_THAT(count, ElementsAre(3, 0, 50));
  // The mean of what was accepted is what the hub got.
  const double mean = std::accumulate(accepted.begin(), accepted.end(), 0.0) / 50;
  EXPECT_NEAR(mean, attempt.after[0].values[2], 1e-4);
  double squares = 0;
  for (const double value : accepted) squares += std::pow(value - mean, 2);
  const double deviation = std::sqrt(squares / 50);
  EXPECT_NEAR(*measured(attempt, "offset", "z").standard_error, deviation / std::sqrt(50), deviation / 1000);
  EXPECT_EQ(station.offset(sensor_type::accelerometer)[2], static_cast<float>(attempt.after[0].values[2]));
  EXPECT_THAT(attempt.before[0].values, ElementsAre(0, 0, 0));
  EXPECT_TRUE(attempt.kept && !attempt.put_back);
}

TEST(PlanRecord, AMessageIsTimedToTheMicrosecond) {
  factory::HubMessage message{};
  for (const auto& [ns, time] : {std::pair(1764000000123456789, "2025-11-24T16:00:00.123456Z"),
                                 {1764000000007000999, "2025-11-24T16:00:00.007000Z"},
                                 {-1, "1969-12-31T23:59:59.999999Z"}}) {
    message.time_ns = ns;
    EXPECT_EQ(factory::decoded(message).time, time);
  }
}

TEST(PlanRecord, AVerificationKeepsItsPeriod) {
  Station station;
  station.options.speed = "10";
  const Station::Ran ran =
      station.run(R"({"verify": "Acc", "samples": 12, "period": "200 ms", "limits": {"noise": "1 m/s^2"}})");
  EXPECT_GE(ran.attempt(0).seconds, 0.2);  // of the phone's 2.4
  EXPECT_EQ(ran.attempt(0).window->period_ms, 200);
  const record::Measurement noise = measured(ran.attempt(0), "noise", "x");
  EXPECT_NEAR(*noise.standard_error, noise.value / std::sqrt(2 * 12), 1e-6);
}

TEST(PlanRecord, ARestartIsToldWithItsCause) {
  using Cause = factory::Restart::Cause;
  const std::tuple<const char*, Cause, double, double> kRows[] = {
      {"f: Variance exceeded, restarting algorithm. index: 1; variance:    4.4100; variance threshold:    0.0500",
       Cause::variance, 4.41, 0.05},
      {"f: Zero variance found, restarting algorithm. index: 1; variance:    0.0000", Cause::zero_variance, 0, 0},
      {"f: High BIAS found, restarting algorithm. index: 1; sum  100.0000, numsamples 50, bias:    2.0000, threshold:  "
       "  "
       "1.5000",
       Cause::bias, 2, 1.5},
  };
  factory::LogTap tap("");
  for (const auto& [line, cause, value, limit] : kRows) {
    tap.start_run();
    (__android_log_print)(ANDROID_LOG_ERROR, "libsensor_cal", "%s", line);
    EXPECT_THAT(tap.run().restarts, ElementsAre(FieldsAre(cause, 1, value, limit, _))) << line;
  }
}

TEST(PlanRecord, ALongLogKeepsItsBeginningAndItsEnd) {
  factory::LogTap tap("");
  tap.keep_all();
  for (int i = 0; i < 4003; ++i) (__android_log_print)(ANDROID_LOG_ERROR, "libsensor_cal", "%d", i);
  EXPECT_EQ(tap.run().errors.size(), 100U);
  Attempt attempt;
  tap.take_lines(&attempt);
  ASSERT_EQ(attempt.log.size(), 4000U);
  EXPECT_EQ(attempt.log_dropped, 3);
  EXPECT_EQ(attempt.log[1999].text + " " + attempt.log[2000].text, "1999 2003");
}

TEST(PlanRecord, ARestartDiscardsWhatWasGathered) {
  Station station;
  const Station::Ran ran =
      station.run(R"({"fixture": {"up": "tilted:40"}}, {"calibrate": "Acc", "limits": {"restarts": 3}})");
  const Attempt& attempt = ran.attempt(1);
  EXPECT_GT(attempt.restarts[static_cast<size_t>(record::Cause::bias)], 3);
  EXPECT_THAT(attempt.window->restarts.at(0), FieldsAre(53, record::Cause::bias, "x", _, _));
  for (const record::Sample& sample : attempt.window->samples) ASSERT_NE(sample.state, record::SampleState::accepted);
}

}  // namespace
}  // namespace plan_test
