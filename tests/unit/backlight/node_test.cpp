#include <limits.h>

#include "lit_phone.h"

namespace test {
namespace {

TEST(Node, Writes) {
  LitPhone lit;
  lit.device.write("/plain", "123456789\n");
  lit.device.link("/full", "/dev/full");
  const struct {
    const char* path;
    int value;
    int result;
    const char* opened;
  } cases[] = {
      {"/plain", 42, 0, "N"}, {"/plain", -7, 0, "N"}, {"/none", 1, -2, "-1"},
      {"/sys", 1, -21, "-1"}, {"/full", 1, -28, "N"},
  };
  for (const auto& c : cases) {
    const LogCapture log;
    EXPECT_EQ(lit.phone.cal->lcdbacklight_calibrate_write_backlight(c.path, c.value), c.result) << c.path;
    EXPECT_EQ(library_lines(log), (Lines{"D write " + std::to_string(c.value) + " to " + c.path,
                                         "D write_int open fd=" + std::string(c.opened) + "\n"}));
  }
  EXPECT_EQ(lit.device.read("/plain"), "-7\n456789\n");  // a node is written over, not cut
}

TEST(Node, Reads) {
  LitPhone lit;
  const struct {
    const char* text;
    int value;
  } cases[] = {
      {"255\n", 255},
      {"", 77},
      {" \n -12x", -12},
      {"0x10", 0},
      {"-", 77},
      {"9999999999", INT_MAX},
      {"-999999999", -999999999},
      {"12345678901234", 1234567890},  // ten bytes are read
  };
  for (const auto& c : cases) {
    lit.device.write("/node", c.text);
    int value = 77;
    const LogCapture log;
    EXPECT_EQ(lit.phone.cal->lcdbacklight_calibrate_read_backlight("/node", &value), 0);
    EXPECT_EQ(value, c.value) << c.text;
    EXPECT_EQ(library_lines(log), Lines{"E read_int success to open /node\n"});
  }
  int value = 77;
  const LogCapture log;
  EXPECT_EQ(lit.phone.cal->lcdbacklight_calibrate_read_backlight("/none", &value), -2);
  EXPECT_EQ(lit.phone.cal->lcdbacklight_calibrate_read_backlight("/sys", &value), -21);  // opens, but cannot be read
  EXPECT_EQ(value, 77);
  EXPECT_EQ(library_lines(log),
            (Lines{"E read_int failed to open /none, error: 2\n", "E read_int success to open /sys\n"}));
}

TEST(Node, ANullPathFailsAsOneThatCannotBeOpened) {
  LitPhone lit;
  int value = 77;
  const LogCapture log;
  EXPECT_EQ(lit.phone.cal->lcdbacklight_calibrate_write_backlight(nullptr, 5), -14);
  EXPECT_EQ(lit.phone.cal->lcdbacklight_calibrate_read_backlight(nullptr, &value), -14);
  EXPECT_EQ(writeStr(nullptr, 6), -1);
  EXPECT_EQ(value, 77);
  EXPECT_EQ(library_lines(log),
            (Lines{"D write 5 to (null)", "D write_int open fd=-1\n", "E read_int failed to open (null), error: 14\n",
                   "I [writeStr] write 6 to (null)", "I [writeStr] open file faild!\n"}));
}

TEST(Node, SetBrightnessWritesBelowTheWorkingDirectory) {
  LitPhone lit;
  const std::string before = std::filesystem::current_path();
  const struct {
    const char* folder;
    int value;
    int result;
    const char* text;
  } cases[] = {{"/", 8191, 0, "8191"}, {"/", 0, 0, "0191"},        {"/", 8192, -1, "0191"},
               {"/", -1, -1, "0191"},  {"/", INT_MIN, -1, "0191"}, {"/sys", 5, -1, "0191"}};
  for (const auto& c : cases) {
    std::filesystem::current_path(lit.device.host_path(c.folder));
    const LogCapture log;
    EXPECT_EQ(lit.phone.cal->SetBrightness(c.value), c.result) << c.value;
    std::filesystem::current_path(before);
    EXPECT_EQ(lit.device.read(kBrightness), c.text);
    Lines expected = {"I [writeStr] write " + std::to_string(c.value) + " to sys/class/leds/lcd-backlight/brightness"};
    if (c.value < 0 || c.value > 8191) expected = {"I [SetBrightness] bad parameters, input useless bright!"};
    if (c.value == 5)
      expected = expected + Lines{"I [writeStr] open file faild!\n", "I [SetBrightness] set brightness fail"};
    EXPECT_EQ(library_lines(log), expected);
  }
  lit.device.write("/signed", "");
  EXPECT_EQ(writeStr("/signed", 4294967295U), 0);
  EXPECT_EQ(lit.device.read("/signed"), "-1");
  lit.device.link("/full", "/dev/full");
  EXPECT_EQ(writeStr("/full", 1), -1);
}

}  // namespace
}  // namespace test
