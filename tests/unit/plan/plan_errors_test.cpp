// A plan is checked as a whole before anything runs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "run/plan.h"

namespace factory::plan {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

std::vector<std::string> problems_of(const std::string& text) {
  std::vector<std::string> problems;
  parse_plan("p.json", text, &problems);
  return problems;
}

std::vector<std::string> problems_of_step(const std::string& step) {
  return problems_of(R"({"format": "sensorcal.plan/1", "name": "n", "steps": [)" + step + "]}");
}

TEST(PlanErrors, EachIsNamedWithItsPath) {
  const struct {
    const char* step;
    const char* where;
    const char* what;
  } kRows[] = {
      {R"({"calibrate": "Acc", "colour": 1})", "steps[0].colour: ", "unknown key"},
      {R"({"calibrate": "acc"})", "steps[0].calibrate: ", "did you mean Acc"},
      {R"({"calibrate": "Foo"})", "steps[0].calibrate: ", "unknown sensor tag"},
      {R"({"calibrate": 1})", "steps[0].calibrate: ", "as a text"},
      {R"({"calibrate": "Bar", "limits": {"low": "1e308 kPa"}})", "steps[0].limits.low: ", "no number"},
      {R"({"calibrate": "Tmp"})", "steps[0].calibrate: ", "no step 0 for Tmp"},
      {R"({"calibrate": "Acc", "param": 99})", "steps[0].calibrate: ", "no step 99"},
      {R"({"calibrate": "Acc", "param": "0"})", "steps[0].param: ", "whole number"},
      {R"({"calibrate": "Acc", "param": 1.5})", "steps[0].param: ", "whole number"},
      {R"({"calibrate": "Acc", "limits": {"noise": "5 mrad/s"}})", "steps[0].limits.noise: ", "does not fit"},
      {R"({"calibrate": "Acc", "limits": {"noise": 5}})", "steps[0].limits.noise: ", "with a number and its unit"},
      {R"({"calibrate": "Acc", "limits": {"noise": "-1 m/s^2"}})", "steps[0].limits.noise: ", "above 0"},
      {R"({"calibrate": "Acc", "limits": {"low": "1 g", "high": "1 m/s^2"}})", "steps[0].limits.low: ", "wrong way"},
      {R"({"calibrate": "Acc", "limits": {"low": ["0 g", "0 g"]}})", "steps[0].limits.low: ", "list of 3"},
      {R"({"calibrate": "Acc", "limits": {"seconds": "0 s"}})", "steps[0].limits.seconds: ", "must lie between"},
      {R"({"calibrate": "Acc", "reference": "1013 hPa"})", "steps[0].reference: ", "only the barometer"},
      {R"({"calibrate": "Bar", "reference": "101325 hPa"})", "steps[0].reference: ", "between 300 and 1100"},
      {R"({"calibrate": "CCT_F_strm", "golden": [1, 2, 3]})", "steps[0].golden: ", "5 to 7 numbers"},
      {R"({"calibrate": "CCT_F_strm", "golden": [1, 2, 3, 4, 0]})", "steps[0].golden: ", "above 0"},
      {R"({"calibrate": "Acc", "golden": [1]})", "steps[0].golden: ", "only the channel scales"},
      {R"({"verify": "Acc"})", "steps[0]: ", "needs limits"},
      {R"({"verify": "Prx", "expect": "gone"})", "steps[0].expect: ", "\"near\" or \"far\""},
      {R"({"verify": "Tmp", "limits": {}})", "steps[0].verify: ", "no verification"},
      {R"({"check": "Acc", "value": "scale", "limits": {}})", "steps[0].value: ", "it has offset, version"},
      {R"({"check": "Acc", "value": "offset"})", "steps[0]: ", "needs a limit"},
      {R"({"check": "report", "positions": ["Nose"]})", "steps[0].positions: ", "no such position"},
      {R"({"probe": "radar", "expect": true})", "steps[0].probe: ", "unknown probe"},
      {R"({"probe": "tof"})", "steps[0].expect: ", "true, false"},
      {R"({"fixture": {"lux": "200"}})", "steps[0].fixture.lux: ", "lacks a unit"},
      {R"({"fixture": {"target": "11 m"}})", "steps[0].fixture.target: ", "between 0 and 1000"},
      {R"({"fixture": {"up": "sideways"}})", "steps[0].fixture.up: ", "face-down"},
      {R"({"fixture": {"moon": "full"}})", "steps[0].fixture.moon: ", "no such setting"},
      {R"({"fixture": {"lux": "1 lux"}, "probe": "tof"})", "steps[0]: ", "is both"},
      {R"({"calibrate": "Lux", "channel": 0})", "steps[0].target: ", "needs a target"},
      {R"({"calibrate": "Lux_F", "channel": 0, "target": "1 counts"})", "steps[0].calibrate: ", "only Lux and Lux_B"},
      {R"({"calibrate": "Lux", "channel": 0, "target": "1 counts", "param": 4})", "steps[0].param: ", "with a channel"},
      {R"({"calibrate": "Lux", "screen": true})", "steps[0].screen: ", "with a channel only"},
      {R"({"write": "Acc", "value": "version", "to": 1})", "steps[0].value: ", "can be written; it has offset"},
      {R"({"write": "Acc", "value": "offset"})", "steps[0].to: ", "values to write"},
      {R"({"write": "Prx", "value": "near", "to": "1.5 counts"})", "steps[0].to: ", "no whole number"},
      {R"({"write": "CCT_F_strm", "value": "golden", "to": []})", "steps[0].to: ", "1 to 15 values"},
      {R"({"name": "nothing"})", "steps[0]: ", "is no step"},
      {R"("text")", "steps[0]: ", "JSON object"},
      {R"({"calibrate": "Acc", "on_failure": "weep"})", "steps[0].on_failure: ", "\"go on\""},
      {R"({"group": "g", "steps": []})", "steps[0]: ", "list of steps"},
      {R"({"group": "g", "steps": [{"group": "h", "steps": []}]})", "steps[0].steps[0]: ", "another group"},
  };
  for (const auto& row : kRows) {
    EXPECT_THAT(problems_of_step(row.step), ElementsAre(::testing::AllOf(HasSubstr(row.where), HasSubstr(row.what))))
        << row.step;
  }
}

TEST(PlanErrors, AllAreListedWithLineAndColumn) {
  const std::string text = R"({
  "format": "sensorcal.plan/1",
  "name": "n",
  "steps": [
    {"calibrate": "Acc",
     "limits": {"noise": "1 Pa"}},
    {"calibrate": "Nose"}
  ],
  "extra": 1
})";
  EXPECT_THAT(problems_of(text), ElementsAre(HasSubstr("p.json:9:12: extra: unknown key"),
                                             HasSubstr("p.json:6:26: steps[0].limits.noise: "),
                                             HasSubstr("p.json:7:19: steps[1].calibrate: ")));
}

TEST(PlanErrors, TheFormIsStrict) {
  const std::string deep(2000, '[');
  for (const char* text : {"", "[]", "{}", "{\"name\": \"a\", \"name\": \"b\"}", "// c\n{}", "{} x", "{'name': 1}",
                           "{\"a\n\n\": 1, \"a\n\n\": 2}", deep.c_str()}) {
    EXPECT_THAT(problems_of(text), ::testing::Not(IsEmpty())) << text;
  }
  EXPECT_THAT(
      problems_of(R"({"format": "sensorcal.plan/2", "name": "n", "steps": [{"probe": "tof", "expect": true}]})"),
      ElementsAre(HasSubstr("format: give \"sensorcal.plan/1\"")));
  EXPECT_THAT(problems_of("{\n  \"name\": }"), ElementsAre(HasSubstr("p.json:2:11: no valid JSON")));
}

TEST(PlanErrors, AListHoldsOneLimitForEachAxis) {
  std::vector<std::string> problems;
  const Plan plan = parse_plan("p.json", R"({"format": "sensorcal.plan/1", "name": "n", "steps": [
    {"verify": "Acc", "limits": {"low": ["-1 m/s^2", "-1 m/s^2", "9 m/s^2"], "high": "10 m/s^2", "noise": "2 %"}}]})",
                               &problems);
  ASSERT_THAT(problems, IsEmpty());
  const Limits& limits = plan.blocks[0].steps[0].limits;
  EXPECT_THAT(limits.low->values, ElementsAre(-1, -1, 9));
  EXPECT_EQ(limits.high->at(2), 10);
  EXPECT_TRUE(limits.noise->relative);
}

}  // namespace
}  // namespace factory::plan
