#include <gtest/gtest.h>
#include <math.h>
#include <persistCalibrate.h>

#include "device_dir.h"

namespace test {
namespace {

namespace fs = std::filesystem;
using Rows = std::vector<std::vector<double>>;

constexpr char kFolder[] = "/mnt/vendor/persist/sensors/";
constexpr double kFixedChannel = 48942.45245;

class PersistCalibrate : public ::testing::Test {
 protected:
  PersistCalibrate() { fs::create_directories(file("").parent_path()); }

  fs::path file(const std::string& name) const { return device.host_path(kFolder + name); }
  void write(const std::string& name, const std::string& text) const { device.write(kFolder + name, text); }

  const DeviceDir device;
  LogCapture log;
  persistCalibrate persist;
};

TEST(StringToDouble, IsLenient) {
  EXPECT_EQ(stringToDouble(" -2.5e1abc"), -25.0);
  EXPECT_EQ(stringToDouble("abc"), 0.0);
  EXPECT_EQ(stringToDouble(""), 0.0);
  EXPECT_EQ(stringToDouble("1e999"), HUGE_VAL);
}

TEST_F(PersistCalibrate, ScaleIsTheConstantWhateverTheFileHolds) {
  EXPECT_EQ(persist.getScale(), 46453.5512);
  EXPECT_EQ(log.all(), Lines{"E/(null): open /mnt/vendor/persist/sensors/scale.txt failed, reopen"});
  log.clear();
  for (const std::string& text : {std::string("2.5"), std::string(), std::string(128, '1'), std::string(400, '9')}) {
    write("scale.txt", text);
    persist.scale = 0;
    EXPECT_EQ(persist.getScale(), 46453.5512);
    EXPECT_EQ(persist.scale, 46453.5512);
  }
  fs::remove(file("scale.txt"));
  fs::create_directory(file("scale.txt"));  // opens, but cannot be read
  EXPECT_EQ(persist.getScale(), 46453.5512);
  EXPECT_EQ(log.all(), Lines{});
}

TEST_F(PersistCalibrate, SetScaleWritesTwelveDigits) {
  const auto text = [this] { return device.read(std::string(kFolder) + "scale.txt"); };
  persist.setScale(1.0 / 3);
  EXPECT_EQ(text(), "0.333333333333");
  persist.setScale(1e20);
  EXPECT_EQ(text(), "1e+20");
  EXPECT_EQ(log.all(), Lines{});
  fs::remove_all(file("").parent_path());
  persist.setScale(2);
  EXPECT_EQ(log.all(), Lines{"E/(null): write failed"});
}

TEST_F(PersistCalibrate, RowsPileUpAndOneValueIsFixed) {
  write("cail.txt", "1\t2\t3\n4\t5\t6\n");
  write("cail_ori.txt", "7\t8\t9");
  EXPECT_EQ(persist.getChannelCail(), (Rows{{1, 2, 3}, {4, 5, kFixedChannel}}));
  EXPECT_EQ(persist.getChannelCail_ori(), (Rows{{1, 2, 3}, {4, 5, kFixedChannel}, {7, 8, 9}}));
  EXPECT_EQ(persist.getChannelCail(), (Rows{{1, 2, 3}, {4, 5, kFixedChannel}, {7, 8, 9}, {1, 2, 3}, {4, 5, 6}}));
  EXPECT_EQ(persist.count, 5u);
  EXPECT_TRUE(persist.row.empty());
  EXPECT_EQ(log.all(), Lines{});
}

TEST_F(PersistCalibrate, FieldsAndLines) {
  struct Row {
    const char* text;
    Rows rows;
  };
  for (const Row& row : std::vector<Row>{{"", {}},
                                         {"\n", {{}}},
                                         {"1\n\n2\n", {{1}, {}, {2}}},
                                         {"1\t2\t3\n4\t5\n", {{1, 2, 3}, {4, 5}}},  // no target for the fixed value
                                         {"1\t\t3\t\nx\t\t\ty\n", {{1, 0, 3}, {0, 0, kFixedChannel, 0}}},
                                         {"1 2\t-3e1\r\n", {{1, -30}}}}) {
    write("cail.txt", row.text);
    EXPECT_EQ(persistCalibrate().getChannelCail(), row.rows) << row.text;
  }
}

TEST_F(PersistCalibrate, AMissingTableKeepsEarlierRows) {
  const std::string line = "E/(null): open /mnt/vendor/persist/sensors/cail.txt failed, reopen";
  persist.rows = {{1}, {2, 2, 2}};
  EXPECT_EQ(persist.getChannelCail(), (Rows{{1}, {2, 2, kFixedChannel}}));
  EXPECT_EQ(persist.getChannelCail_ori(), (Rows{{1}, {2, 2, kFixedChannel}}));  // its line names the other file
  EXPECT_EQ(persist.count, 0u);
  EXPECT_EQ(log.all(), (Lines{line, line}));
}

}  // namespace
}  // namespace test
