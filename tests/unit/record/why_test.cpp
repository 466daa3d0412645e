// Whose fault a cause is, and how a program ends.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "folder.h"
#include "record/exit_code.h"
#include "record/why.h"

namespace factory::record {
namespace {

// "code verdict" of each row of the header, or of the page.
std::vector<std::string> rows_of(const std::string& file) {
  std::vector<std::string> out;
  std::istringstream in(test::content(PROJECT_DIR + file));
  for (std::string line; std::getline(in, line);) {
    char code[64];
    char verdict[16];
    if (sscanf(line.c_str(), "| `%63[a-z_.]` | %15[a-z] |", code, verdict) != 2 &&
        sscanf(line.c_str(), " static constexpr Ground %*[a-z_]{\"%63[a-z_.]\", %15[a-z]}", code, verdict) != 2)
      continue;
    const std::string_view word = verdict;
    if (word == "error" || word == "failed" || word == "aborted") out.push_back(code + (" " + std::string(word)));
  }
  return out;
}

TEST(ExitCode, FollowsVerdictAndDelivery) {
  const std::tuple<Outcome, int, int> kRows[] = {{Outcome::passed, 0, 3},  {Outcome::marginal, 0, 3},
                                                 {Outcome::failed, 1, 1},  {Outcome::error, 3, 3},
                                                 {Outcome::skipped, 3, 3}, {Outcome::aborted, 130, 130}};
  for (const auto& [verdict, delivered, not_delivered] : kRows) {
    EXPECT_EQ(exit_code(verdict, true), delivered) << outcome_name(verdict);
    EXPECT_EQ(exit_code(verdict, false), not_delivered) << outcome_name(verdict);
  }
}

TEST(Why, TheDocumentListsEveryCodeWithItsVerdict) {
  const std::vector<std::string> known = rows_of("/factory/record/why.h");
  EXPECT_THAT(known, ::testing::Contains(std::string(Why::interrupted.code) + " aborted"));
  EXPECT_EQ(rows_of("/docs/formats/run-record.md"), known);
}

}  // namespace
}  // namespace factory::record
