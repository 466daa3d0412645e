#include <fcntl.h>
#include <json/json.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "bench_phone.h"
#include "device_dir.h"

namespace {

constexpr int kEnded = 77;

[[noreturn]] void end(const std::string& message) {
  fprintf(stderr, "the JSON library ends the process: %s\n", message.c_str());
  _exit(kEnded);
}

}  // namespace

// In the place of the JSON library's own: it behaves as one that is built without exceptions, in all of this program.
void Json::throwRuntimeError(String const& message) { end(message); }
void Json::throwLogicError(String const& message) { end(message); }

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
      {als(R"({"ver":"-99999999999999999999"})"), with("-2147483647")},
      {als(R"({"ver":99999999999999999999,"ver":41})"), with("42")},
      {als(R"({"ver":7.9})"), with("8")},
      {als(R"({"ver":true})"), with("1")},
      {als(R"({"ver":null})"), with("1")},
      {als("null"), with("1")},
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

TEST(LightJsonDeathTest, TheJsonLibraryCanEndTheProcess) {
  EXPECT_EXIT(Json::Value("text")["als"], ::testing::ExitedWithCode(kEnded), "ends the process");
}

// Nested values, `depth` of them inside each other, the innermost given.
std::string nested(int depth, const std::string& innermost, const char* opened = "[", const char* closed = "]") {
  std::string text;
  for (int i = 1; i < depth; ++i) text += opened;
  text += innermost;
  for (int i = 1; i < depth; ++i) text += closed;
  return text;
}

std::string beside(const std::string& value) { return R"({"als":{"x":1},"b":)" + value + "}"; }

// The reader takes a thousand values inside each other.
TEST_F(LightJson, TakesWhatTheReaderTakes) {
  constexpr int kLeft = 999;  // below the file's own object
  const std::string brackets(5000, '[');
  const std::string texts[] = {
      beside(nested(kLeft, "1")),
      beside(nested(kLeft, "[ \t]")),
      beside(nested(kLeft, "{/*[*/}")),
      beside(nested(kLeft, "{}", R"({"a":)", "}")),
      beside(nested(3, nested(kLeft - 2, "1") + "," + nested(kLeft - 2, "1,"))),
      beside(nested(2, nested(2, "\"]\\\"\"," + brackets.substr(0, 900) + std::string(900, ']')))),
      beside("\"" + brackets + "\\\"" + brackets + "\""),
      beside("1/*" + brackets + "*/") + brackets,  // nobody reads on behind the first value
      "\xEF\xBB\xBF//" + brackets + "\r" + beside("[[],]") + brackets,
      // Behind a comment any token is the comma.
      R"({"als":{"x":1/**/]"y":1/**/[},"b":[)" + brackets.substr(0, 990) + std::string(990, ']') + "]}",
  };
  for (const auto& text : texts) {
    device.write(kFile, text);
    const test::LogCapture log;
    EXPECT_EQ(phone.cal->WirteScaleToFileJson(scale, kFile), 0) << text;
    EXPECT_EQ(test::library_lines(log), test::Lines()) << text;
  }
}

TEST_F(LightJson, LeavesTheFileOnFailure) {
  const std::string brackets(5000, '[');
  const std::string unparsed[] = {
      // No JSON.
      "", "\xEF\xBB\xBF", "{\"als\":{\"x\":1}", R"({"als":{"x":1}]})", R"({"als" {"x":1}})", R"({"als":{'x':1}})",
      R"({"als":{"x":1 "y":2}})", R"({"als":{"x":tru}})", R"({"als":{"x":1,,}})", R"({"als":{"x")",
      R"({"als":{"x":"\u12"}})", R"({"als":{"x":"\ud800"}})", R"({"als":{"x":"\q"}})", R"({"als":{"x":NaN}})",
      R"({"als":{"x":1e999}})", R"({"als":{"x":1/*})", R"({"als":{"x":1/ }})", R"({"als":{1:2}})",
      std::string("{\0}", 3), "\xFF\xFE", "als",
      // Nested too deep.
      nested(1001, "[]"), nested(1200, "[]"), brackets, brackets + std::string(5000, ']'), beside(nested(1000, "1")),
      beside(nested(1000, "{}", R"({"a":)", "}")), beside(nested(999, "[/**/]")), beside(nested(1000, "[")),
      beside(brackets), R"({"als":{"x":1/**/],"b":)" + brackets, "{\"a\":\"\\\"\",\"als\":" + brackets,
      // Of another form.
      "[]", "[1]", "1", "true", "\"als\"", R"({"als":"text"})", R"({"als":""})", R"({"als":1})", R"({"als":false})",
      R"({"als":[1]})", als("[]"), als("[1]"), als("1"), als("\"\""), als("true"), als(R"({"ver":{}})"),
      als(R"({"ver":{"x":1}})"), als(R"({"ver":[]})"), als(R"({"ver":["1"]})")};
  const std::string empty[] = {
      "{}", "null", "null " + brackets, R"({"als":null})", R"({"als":{}})", R"({"als":[]})", R"({"ALS":{"x":1}})"};
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
