// A plan is checked as a whole before anything runs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "files/json_text.h"
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

// tests/schemas holds the schema against the same steps.
TEST(PlanErrors, EachIsNamedWithItsPath) {
  Json::Value rows;
  std::ifstream(TEST_DATA_DIR "/plans/bad_steps.json") >> rows;
  ASSERT_FALSE(rows.empty());
  for (const Json::Value& row : rows) {
    EXPECT_THAT(problems_of_step(json_line(row["step"])),
                ElementsAre(::testing::AllOf(HasSubstr(row["where"].asString()), HasSubstr(row["what"].asString()))))
        << row["step"];
  }
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

// What two steps measure is not to be counted as one.
TEST(PlanErrors, ANameThatComesAgainGetsANumber) {
  std::vector<std::string> problems;
  const Plan plan = parse_plan("p.json", R"json({"format": "sensorcal.plan/1", "name": "n", "steps": [
    {"verify": "Acc"}, {"group": "g", "steps": [{"verify": "Acc"}, {"verify": "Gyr"}]}, {"verify": "Acc"},
    {"group": "g", "steps": [{"verify": "Acc"}, {"verify": "Bar", "name": "verify Acc (2)"}]}]})json",
                               &problems);
  std::vector<std::string> names;
  for (const auto& block : plan.blocks)
    for (const auto& step : block.steps) names.push_back(step.name);
  EXPECT_THAT(names, ElementsAre("verify Acc", "verify Acc", "verify Gyr", "verify Acc (2)", "verify Acc (3)",
                                 "verify Acc (2)"));
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
