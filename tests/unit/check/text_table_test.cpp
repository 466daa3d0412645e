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

TEST(Table, BreaksTheWidestColumnFirst) {
  const std::vector<std::vector<std::string>> even = {{"a", "b"}, {"p qrs t", "u vwx y"}};
  EXPECT_EQ(table(even, 13), "a      b\np qrs  u vwx\nt      y\n");
  EXPECT_EQ(table(even, 7), "a  p qrs t\nb  u vwx y\n");
  EXPECT_EQ(table({{"a", "b"}, {"abcd efgh ijklmnop", "abcd efg"}}, 9), "a  abcd\n   efgh\n   ijklmnop\nb  abcd efg\n");
  EXPECT_EQ(table({{"a", "b"}, {std::string(25, 'w'), "x y"}}, 27),
            "a" + std::string(25, ' ') + "b\n" + std::string(24, 'w') + "  x\nw" + std::string(25, ' ') + "y\n");
}

TEST(Table, NeverLeavesTheTerminal) {
  const std::string red = terminal_sequence("31m");
  const std::string plain = terminal_sequence("0m");
  const std::vector<std::vector<std::string>> rows = {{"a", "b"},
                                                      {std::string(90, 'x'), red + "one two three" + plain}};
  for (size_t columns = 16; columns < 120; ++columns)
    EXPECT_LE(widest(table(rows, columns)), columns + red.size() + plain.size()) << columns;
  EXPECT_NE(table(rows, 24).find(red + "one two three" + plain), std::string::npos);
  EXPECT_NE(table(rows, 12).find(red + "one two" + plain + "\n"), std::string::npos) << "each line has its colour";
}

// What a plan, a phone or a scanner says does nothing to the terminal, and takes its place in a table.
TEST(VisibleTest, ShowsWhatIsNotToBeSent) {
  const std::pair<const char*, const char*> cases[] = {{"20\u00A0\u00B5T, \u4E2D\n\tx", "20\u00A0\u00B5T, \u4E2D\n\tx"},
                                                       {"\033[2J\a\r", "\\u001b[2J\\u0007\\u000d"},
                                                       {"\x7F\u009B31m", "\\u007f\\u009b31m"},
                                                       {"a\u202Eb\u2066\uFEFF\u200B", "a\\u202eb\\u2066\\ufeff\\u200b"},
                                                       {"\xFF\xC3", "\\xff\\xc3"},
                                                       // as our own sequences begin
                                                       {"\xF8\x33\x31m", "\\xf831m"},
                                                       {"\xC0\x80\xE2\x82", "\\xc0\\x80\\xe2\\x82"},
                                                       // a surrogate, one that is too long, one beyond the last
                                                       {"\xED\xA0\x80\xED\xBF\xBF", "\\xed\\xa0\\x80\\xed\\xbf\\xbf"},
                                                       {"\xE0\x80\x9B", "\\xe0\\x80\\x9b"},
                                                       {"\xF4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"}};
  for (const auto& [text, shown] : cases) EXPECT_EQ(visible(text), shown);
  EXPECT_EQ(table({{"a", "b"}, {"\033[1\nm", "c"}}, 0), "a           b\n\\u001b[1 m  c\n");
}

}  // namespace
}  // namespace factory
