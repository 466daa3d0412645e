// Each fault of the catalogue comes to the verdict that docs/faults.md tells, for the reason that it tells.
#include "station.h"
#include "verdicts.h"

namespace plan_test {
namespace {

using fault_matrix::VerdictRow;

class VerdictOfFault : public ::testing::TestWithParam<VerdictRow> {};

TEST_P(VerdictOfFault, IsTheDocumentedOne) {
  const VerdictRow& row = GetParam();
  ASSERT_EQ(Station().run(row.steps).outcome, Outcome::passed) << "without the fault";
  Station station;
  station.options.fault = {std::string(row.fault)};
  const Station::Ran ran = station.run(row.steps);
  EXPECT_STREQ(outcome_name(ran.outcome), row.verdict);
  const auto wrong = std::find_if(ran.steps.begin(), ran.steps.end(), [](const Step& step) {
    return step.outcome == Outcome::failed || step.outcome == Outcome::error;
  });
  ASSERT_EQ(wrong == ran.steps.end(), *row.code == '\0');
  if (wrong == ran.steps.end()) return;
  const Attempt& attempt = wrong->attempts.back();
  EXPECT_EQ(attempt.reasons.at(0).code, row.code) << attempt.reasons.at(0).text;
  EXPECT_FALSE(attempt.hints.empty());
  EXPECT_FALSE(attempt.kept && attempt.put_back);
}

INSTANTIATE_TEST_SUITE_P(Catalogue, VerdictOfFault, ::testing::ValuesIn(fault_matrix::kVerdicts), [](const auto& test) {
  std::string name(test.param.name());
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
});

}  // namespace
}  // namespace plan_test
