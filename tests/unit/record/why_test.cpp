// Whose fault a cause is, and how a program ends.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "folder.h"
#include "record/exit_code.h"
#include "record/why.h"

namespace factory::record {
namespace {

TEST(ExitCode, FollowsVerdictAndDelivery) {
  const struct {
    Outcome verdict;
    int delivered, not_delivered;
  } kRows[] = {{Outcome::passed, 0, 3}, {Outcome::marginal, 0, 3}, {Outcome::failed, 1, 1},
               {Outcome::error, 3, 3},  {Outcome::skipped, 3, 3},  {Outcome::aborted, 130, 130}};
  for (const auto& row : kRows) {
    EXPECT_EQ(exit_code(row.verdict, true), row.delivered) << outcome_name(row.verdict);
    EXPECT_EQ(exit_code(row.verdict, false), row.not_delivered) << outcome_name(row.verdict);
  }
}

TEST(Why, TheDocumentListsEveryCodeWithItsVerdict) {
  std::vector<std::string> documented;
  std::istringstream page(test::content(PROJECT_DIR "/docs/formats/run-record.md"));
  for (std::string line; std::getline(page, line);) {  // | `code` | verdict | ...
    std::istringstream cells(line);
    std::string bar, code, verdict;
    cells >> bar >> code >> bar >> verdict;
    const bool is_code = code.size() > 2 && code.front() == '`' && code.back() == '`';
    if (is_code && (verdict == "error" || verdict == "failed" || verdict == "aborted")) {
      documented.push_back(code.substr(1, code.size() - 2) + " " + verdict);
    }
  }
  std::vector<std::string> known;
  for (int i = 0; i <= static_cast<int>(Why::interrupted); ++i) {
    const auto why = static_cast<Why>(i);
    known.push_back(std::string(code_of(why)) + " " + outcome_name(outcome_of(why)));
  }
  EXPECT_EQ(documented, known);
}

}  // namespace
}  // namespace factory::record
