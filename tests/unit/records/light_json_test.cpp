#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>

#include "bench_phone.h"
#include "device_dir.h"

namespace {

constexpr char kFile[] = "/mnt/vendor/nvcfg/sensor/lightSensorCali.json";
constexpr char kScales[] = R"("scale_data":"1.000000,0.985000,1.020000,0.990000,","ver":")";

std::string als(const std::string& channel_scale) { return R"({"als":{"channel_scale":)" + channel_scale + "}}"; }

struct LightJson : ::testing::Test {
  test::DeviceDir device;
  test::BenchPhone phone;
  float scale[4] = {1.0F, 0.985F, 1.02F, 0.99F};
};

TEST_F(LightJson, EditsInPlace) {
  const auto with = [](const std::string& ver) { return als("{" + (kScales + ver) + "\"}"); };
  const struct {
    std::string before;
    std::string after;  // without white space
  } cases[] = {
      {als("{}"), with("1")},
      {als(R"({"ver":"3","scale_data":{}})"), with("4")},
      {als(R"({"ver":"99999999999999999999"})"), with("2147483647")},
      {"{\"als\":\n{\"channel_scale\":{\"ver\":\"1\n2\"}}\r\n}\n", with("13")},  // lines are joined, in a text too
      {R"({"als":{"x":1},"b":[null,"é"]})",
       R"({"als":{"channel_scale":{)" + (kScales + std::string(R"(1"},"x":1},"b":[null,"\u00e9"]})"))},
  };
  for (const auto& c : cases) {
    device.write(kFile, c.before);
    const test::LogCapture log;
    EXPECT_EQ(phone.cal->WirteScaleToFileJson(scale, kFile), 0) << c.before;
    std::string after = device.read(kFile);
    after.erase(std::remove_if(after.begin(), after.end(), [](unsigned char ch) { return isspace(ch); }), after.end());
    EXPECT_EQ(after, c.after);
    EXPECT_EQ(test::library_lines(log), test::Lines());
  }
  device.write(kFile, als("{}"));
  scale[3] = -INFINITY;
  EXPECT_EQ(phone.cal->WirteScaleToFileJson(scale, kFile), 0);
  EXPECT_EQ(device.read(kFile),
            "{\n\t\"als\" : \n\t{\n\t\t\"channel_scale\" : \n\t\t{\n\t\t\t\"scale_data\" : "
            "\"1.000000,0.985000,1.020000,-inf,\",\n\t\t\t\"ver\" : \"1\"\n\t\t}\n\t}\n}");
}

TEST_F(LightJson, LeavesTheFileOnFailure) {
  const std::string unparsed[] = {"{\"als\":{\"x\":1}", std::string(5000, '[') + std::string(5000, ']'),
                                  R"({"als":"text"})", als("[1]"), als(R"({"ver":{}})")};
  const std::string empty[] = {"{}", "null", R"({"als":{}})"};
  const auto refuses = [&](const std::string& text, const char* line) {
    device.write(kFile, text);
    const test::LogCapture log;
    EXPECT_EQ(phone.cal->WirteScaleToFileJson(scale, kFile), 1) << text;
    EXPECT_EQ(device.read(kFile), text);
    EXPECT_EQ(test::library_lines(log), test::Lines{line}) << text;
  };
  for (const auto& text : unparsed) refuses(text, "E parse json error");
  for (const auto& text : empty) refuses(text, "E Json file is null!");
  device.remove(kFile);
  const test::LogCapture log;
  EXPECT_EQ(phone.cal->WirteScaleToFileJson(scale, kFile), 1);
  EXPECT_EQ(test::library_lines(log), test::Lines{"E open json file fail!"});
  EXPECT_FALSE(std::filesystem::exists(device.host_path(kFile)));
}

// A file that may not be shortened refuses to be opened for writing, whoever asks.
TEST_F(LightJson, AFileThatCannotBeWrittenCountsAsSuccess) {
  host::set_device_root("");
  const int fd = memfd_create("light", MFD_ALLOW_SEALING);
  ASSERT_EQ(write(fd, R"({"als":{"x":1}})", 15), 15);
  ASSERT_EQ(fcntl(fd, F_ADD_SEALS, F_SEAL_SHRINK), 0);
  const test::LogCapture log;
  EXPECT_EQ(phone.cal->WirteScaleToFileJson(scale, "/proc/self/fd/" + std::to_string(fd)), 0);
  EXPECT_EQ(test::library_lines(log), test::Lines{"E open json file fail!!!"});
  close(fd);
}

}  // namespace
