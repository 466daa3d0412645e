// Tables within a terminal's width.
#include <gtest/gtest.h>

#include <sstream>

#include "cli/terminal.h"

namespace factory {
namespace {

const std::vector<std::vector<std::string>> kRows = {
    {"sensor", "limit", "result"}, {"Acc", "changes between two samples", "ok"}, {"Gyr", "µ", ""}};

size_t widest(const std::string& text) {
  size_t width = 0;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) width = std::max(width, line.size());
  return width;
}

TEST(Table, KeepsItsColumnsWhereThereIsRoom) {
  const std::string wanted =
      "sensor  limit                        result\n"
      "Acc     changes between two samples  ok\n"
      "Gyr     µ\n";
  EXPECT_EQ(table(kRows, 0), wanted);
  EXPECT_EQ(table(kRows, 43), wanted);
}

TEST(Table, WrapsAtBlanks) {
  EXPECT_EQ(table(kRows, 32),
            "sensor  limit             result\n"
            "Acc     changes between   ok\n"
            "        two samples\n"
            "Gyr     µ\n");
}

TEST(Table, BecomesBlocksWhereAWordWouldBreak) {
  EXPECT_EQ(table(kRows, 22),
            "sensor  Acc\n"
            "limit   changes\n"
            "        between two\n"
            "        samples\n"
            "result  ok\n"
            "\n"
            "sensor  Gyr\n"
            "limit   µ\n");
}

TEST(Table, NeverLeavesTheTerminal) {
  const std::vector<std::vector<std::string>> rows = {{"a", "b"},
                                                      {std::string(90, 'x'), "\033[31mone two three\033[0m"}};
  for (size_t columns = 16; columns < 120; ++columns) EXPECT_LE(widest(table(rows, columns)), columns + 9) << columns;
  EXPECT_NE(table(rows, 24).find("\033[31mone two three\033[0m"), std::string::npos);
  EXPECT_NE(table(rows, 12).find("\033[31mone two\033[0m\n"), std::string::npos) << "each line has its colour";
}

}  // namespace
}  // namespace factory
