#include "bench_phone.h"
#include "device_dir.h"

namespace test {
namespace {

using namespace std::string_literals;
using Row = std::vector<std::string>;
using Rows = std::vector<Row>;

TEST(JudgeTable, KeepsTheLinesWhoseChipIsPresent) {
  const DeviceDir device;
  const BenchPhone phone({sensor(1, 1, "lsm6dso Acc"), sensor(5, 2, "tcs\r3701")});
  const Lines start = {"E get_judge_calibrated: start matching anajson with found sensor"};
  judge_calibrated = {{"stale"}};
  LogCapture log;
  phone.cal->get_judge_calibrated();
  EXPECT_EQ(judge_calibrated, Rows());
  EXPECT_EQ(library_lines(log), operator+(start, {"I open file fail !!\n"}));

  // Dropped: another chip, another case, a carriage return that is no part of a name, more than the name holds.
  // Kept: a chip named by the last field alone, wherever it lies, and up to a NUL; a line whose last field is empty.
  device.write("/vendor/etc/sensors/judge_calibrated.json",
               "Acc a.b /x.json 0 lsm\nGyr a.b /x 0 bmi\nAcc a.b /x 0 LSM\nAcc a /x 0 lsm\r\nLux a /y 1 tcs\r\n"
               "Acc\ta /x 0 lsm\nAcc  b \n\nlsm6dso Acc2\nAcc n /x 0 lsm\0bmi\nAcc c /x 2 lsm6dso"s);
  log.clear();
  phone.cal->get_judge_calibrated();
  const Rows kept = {{"Acc", "a.b", "/x.json", "0", "lsm"},
                     {"Lux", "a", "/y", "1", "tcs\r"},
                     {"Acc\ta", "/x", "0", "lsm"},
                     {"Acc", "", "b", ""},
                     {""},
                     {"Acc", "n", "/x", "0", "lsm\0bmi"s},
                     {"Acc", "c", "/x", "2", "lsm6dso"}};
  EXPECT_EQ(judge_calibrated, kept);
  const Lines each(11, "I open anajson file success!!\n");
  const Lines end = {"I close file success,judge_calibrated json struct has been got !\n"};
  EXPECT_EQ(library_lines(log), operator+(operator+(start, each), end));
}

TEST(JudgeTable, ParseStrChoosesTheRow) {
  const BenchPhone phone;
  judge_calibrated = {{"Acc", "p", "f", "1", "c"},    {"Acc", "two", "f", "2", "c"}, {},
                      {"Acc", "short", "f", "1"},     {"Acc", "q", "f", "1", "c"},   {"Lux", "..a.", "f", "0", "c"},
                      {"Acc", "two b", "f", "2", "c"}};
  const struct {
    int type;
    unsigned mode;
    int index;
    Row expected;
  } cases[] = {
      // Mode 1 stops at a qualifying row alone: not at a short one, not between two. Mode 2 takes the first.
      {1, 1, 0, {"p"}},
      {1, 1, 1, {"q"}},
      {1, 1, 3, {"q"}},
      {1, 2, 6, {"two"}},
      // In any other mode the first row of the tag decides.
      {1, 0, 0, {}},
      {5, ~0U, 0, {"", "", "a", ""}},
      {6, 0, 0, {""}},
  };
  for (const auto& c : cases) {
    const LogCapture log;
    EXPECT_EQ(phone.cal->ParseStr(c.type, c.mode, c.index), c.expected) << c.type << " " << c.mode << " " << c.index;
    const Lines invalid = {"I ParseStr judge_calibrated struct is invalid!\n"};
    EXPECT_EQ(library_lines(log), c.expected.empty() ? invalid : Lines());
  }
}

}  // namespace
}  // namespace test
