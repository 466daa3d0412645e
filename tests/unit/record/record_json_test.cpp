#include "record/record_json.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

#include "files/json_text.h"
#include "files/time_text.h"
#include "records.h"

namespace factory::record {
namespace {

using records::content;
using ::testing::HasSubstr;

std::string text_of(const Run& run) { return json_pretty(to_json(run)); }

// Every field holds something, and numbers that are none.
Run full() {
  Run run = records::with_text_everywhere(records::hostile_text());
  run.id = "019ac0de-0000-7000-8000-000000000001";
  run.world = {{"up", "flat"}};
  run.plan.bytes = "{\"name\": \"\xff\"}\n";
  Attempt& attempt = run.steps[1].attempts[0];
  attempt.measurements[0].value = -std::numeric_limits<double>::infinity();
  attempt.measurements[0].standard_error = std::nan("");
  attempt.measurements[1].value = 1e-300;
  attempt.hub[0].request[1].value = std::numeric_limits<float>::infinity();
  attempt.hub[0].reply_sensor_type = 4;
  attempt.hub[0].reply_code = -1;
  attempt.before[0].values = {0.1, 1.0 / 3};
  return run;
}

TEST(RecordJson, WhatWasWrittenReadsBackTheSame) {
  for (const record::Run& run : {records::passed(), records::failed(), records::error(), full(), record::Run{}}) {
    const std::string text = text_of(run);
    EXPECT_EQ(text_of(read_run(text)), text);
  }
  const record::Run back = read_run(text_of(full()));
  EXPECT_EQ(back.plan.bytes, full().plan.bytes);
  EXPECT_EQ(back.steps[1].attempts[1].reasons[0], full().steps[1].attempts[1].reasons[0]);
  EXPECT_EQ(back.steps[1].attempts[1].spans[0].to_s, 6.75);
  EXPECT_EQ(back.steps[1].attempts[1].restarts[0], 2);
}

// Every field, also where nothing is in it.
TEST(RecordJson, IsWrittenAsItsFormSays) {
  for (const auto& [name, run] : {std::pair<std::string, record::Run>("passed", records::passed()),
                                  {"failed", records::failed()},
                                  {"error", records::error()}}) {
    Json::Value wanted, written;
    ASSERT_TRUE(parse_json(content(TEST_DATA_DIR "/records/" + name + ".json"), &wanted));
    ASSERT_TRUE(parse_json(text_of(run), &written));
    EXPECT_EQ(json_pretty(written), json_pretty(wanted)) << name;
  }
}

TEST(Record, IsNotPassedWhereItsOwnContentsDenyIt) {
  EXPECT_EQ(denial_of_pass(records::passed()), "");
  EXPECT_EQ(denial_of_pass(records::failed()), "");  // tells of no pass
  const auto measured = [](auto change) {
    return [change](Step& step) {
      Measurement& m = step.attempts.back().measurements.emplace_back(Measurement{"residual", "x", 0, "m/s^2"});
      m.low = -1;
      m.high = 1;
      change(m);
    };
  };
  const std::pair<const char*, std::function<void(Step&)>> kRows[] = {
      {"", measured([](Measurement& m) { m.value = 1; })},
      {"residual 1.1 m/s^2 is outside the limits", measured([](Measurement& m) { m.value = 1.1; })},
      {"is no number", measured([](Measurement& m) { m.value = std::nan(""); })},
      {"residual x is failed", measured([](Measurement& m) { m.outcome = Outcome::failed; })},
      {"is failed", [](Step& step) { step.outcome = Outcome::failed; }},
      {"the last attempt at step", [](Step& step) { step.attempts.back().outcome = Outcome::failed; }},
      {"has no attempt", [](Step& step) { step.attempts.clear(); }},
  };
  for (const auto& [denial, change] : kRows) {
    record::Run run = records::passed();
    change(run.steps.back());
    EXPECT_THAT(denial_of_pass(run), HasSubstr(denial));
    EXPECT_EQ(denial_of_pass(run).empty(), *denial == '\0');
  }
}

TEST(RecordJson, ReadsTheFirstForm) {
  const record::Run run = read_run(content(TEST_DATA_DIR "/records/run1.json"));
  EXPECT_EQ(run.serial, "K<7");
  EXPECT_EQ(run.outcome, Outcome::failed);
  EXPECT_EQ(run.plan.sha256.size(), 64U);
  EXPECT_EQ(run.phone.fact("seed"), "7");
  EXPECT_EQ(run.phone.properties.at("ro.build.product"), "reference");
  ASSERT_EQ(run.steps.size(), 4U);
  const Attempt& failed = run.steps[1].attempts[0];
  EXPECT_EQ(failed.outcome, Outcome::failed);
  EXPECT_THAT(failed.reasons.at(0).text, HasSubstr("x: residual"));
  EXPECT_EQ(failed.reasons.at(0).code, "");
  EXPECT_EQ(failed.window->samples.at(0).state, SampleState::settling);
  EXPECT_EQ(failed.hub.at(0).tag, "Acc");
  EXPECT_EQ(failed.log_dropped, 12);
  EXPECT_EQ(text_of(read_run(text_of(run))), text_of(run));
}

TEST(RecordJson, PassesOverWhatItDoesNotKnow) {
  Json::Value json = to_json(records::passed());
  json["later"]["deep"] = 1;
  json["steps"][0]["attempts"][0]["later"] = Json::Value(Json::arrayValue);
  EXPECT_EQ(text_of(read_run(json_line(json))), text_of(records::passed()));
}

// A false pass would be the worst: nothing is guessed.
TEST(RecordJson, RefusesWhatIsNoRecordAndNamesThePlace) {
  const auto spoilt = [](const std::function<void(Json::Value*)>& spoil) {
    Json::Value json = to_json(records::failed());
    spoil(&json);
    return json_line(json);
  };
  const auto attempt = [](Json::Value* json) -> Json::Value& { return (*json)["steps"][1]["attempts"][0]; };
  const std::string half = text_of(records::failed()).substr(0, 5000);
  const std::pair<std::string, const char*> kRows[] = {
      {"", "no JSON"},
      {half, "no JSON"},
      {"[]", "\"schema\" is missing"},
      {"{}", "\"schema\" is missing"},
      {spoilt([](auto* j) { (*j)["schema"] = "sensorcal.run/3"; }), "\"schema\" is \"sensorcal.run/3\""},
      {spoilt([](auto* j) { (*j)["schema"] = 2; }), "\"schema\" is missing"},
      {spoilt([](auto* j) { (*j)["verdict"] = "Passed"; }), "verdict: wanted is one of passed, marginal"},
      {spoilt([](auto* j) { (*j)["verdict"] = "skipped"; }), "verdict: no run is skipped"},
      {spoilt([](auto* j) { j->removeMember("verdict"); }), "verdict is missing"},
      {spoilt([](auto* j) { (*j)["steps"] = 7; }), "steps: wanted is a list"},
      {spoilt([](auto* j) { (*j)["started"] = "yesterday"; }), "started: wanted is a time"},
      {spoilt([](auto* j) { (*j)["serial"] = 7; }), "serial: wanted is a text"},
      {spoilt([](auto* j) { (*j)["steps"][2] = "x"; }), "steps[2]: wanted is an object"},
      {spoilt([&](auto* j) { attempt(j)["number"] = 1.5; }), "steps[1].attempts[0].number: wanted is a whole number"},
      {spoilt([&](auto* j) { attempt(j)["number"] = 3e9; }), "steps[1].attempts[0].number: wanted is a whole number"},
      {spoilt([&](auto* j) { attempt(j)["kept"] = "yes"; }), "steps[1].attempts[0].kept: wanted is true or false"},
      {spoilt([&](auto* j) { attempt(j)["measurements"][1]["value"] = "0.4"; }),
       "steps[1].attempts[0].measurements[1].value: wanted is a number"},
      {spoilt([&](auto* j) { attempt(j)["window"]["samples"][9]["state"] = "lost"; }),
       "steps[1].attempts[0].window.samples[9].state: wanted is one of settling, discarded, accepted; it is \"lost\""},
      {spoilt([&](auto* j) { attempt(j)["hub"][0]["request"][0] = Json::Value(Json::objectValue); }),
       "steps[1].attempts[0].hub[0].request[0].word is missing"},
  };
  for (const auto& row : kRows)
    EXPECT_THAT([&] { read_run(row.first); }, ::testing::ThrowsMessage<FormatError>(HasSubstr(row.second)));
}

TEST(RecordJson, TextsAreReadWithAndWithoutTheirCode) {
  const std::vector<Text> texts = {"words alone", {"noise", {"Acc", "x"}, "Acc x: noise"}};
  EXPECT_EQ(read_texts(json_line(to_json(texts))), texts);
  EXPECT_EQ(read_texts(R"(["words alone"])"), std::vector<Text>{"words alone"});
  EXPECT_THROW(read_texts("[7]"), FormatError);
}

TEST(IsoTime, ReadsItsOwnAndNothingElse) {
  using std::chrono::milliseconds;
  for (const int64_t ms : {int64_t{0}, int64_t{-1}, int64_t{1764000000123}, int64_t{951782399999}}) {
    const Clock::time_point time{milliseconds(ms)};
    EXPECT_EQ(parse_iso_time(iso_time(time)), time) << ms;
  }
  // Whatever a clock says.
  EXPECT_EQ(iso_time(Clock::time_point::min()), "1678-01-01T00:00:00.000Z");
  EXPECT_EQ(iso_time(Clock::time_point::max()), "2261-12-31T00:00:00.000Z");
  EXPECT_EQ(iso_time(Clock::time_point(milliseconds(-1))), "1969-12-31T23:59:59.999Z");
  EXPECT_EQ(iso_time(Clock::time_point(milliseconds(1764000000123))), "2025-11-24T16:00:00.123Z");
  for (const char* text :
       {"", "2025-11-24", "2025-13-24T16:00:00.123Z", "2025-02-29T16:00:00.123Z", "2025-11-24T24:00:00.123Z",
        "2025-11-24T16:00:00.123+", "2025-11-24T16:00:00.123ZZ", "2025-11-24 16:00:00.123Z", "2025-11-24T16:00:-1.123Z",
        "2025-11-24T16:60:00.123Z", "2025-11-24T16:00:60.123Z"})
    EXPECT_FALSE(parse_iso_time(text)) << text;
}

}  // namespace
}  // namespace factory::record
