#include <chrono>

#include "bench_phone.h"
#include "device_dir.h"

namespace test {
namespace {

using namespace std::string_literals;
using Texts = std::vector<std::string>;
using Lists = std::vector<Texts>;

constexpr char kFile[] = "/vendor/etc/sensors/reference.json";

TEST(ReferenceData, TakesTheTextsOfTheSection) {
  const DeviceDir device;
  const BenchPhone phone;
  judge_calibrated = {{"Acc", "k", kFile, "0", "c"}};
  const struct {
    std::string text;
    Texts keys, ver, data;
  } cases[] = {
      // From the key's line, which is scanned, to a later line at which the braces balance.
      {"ver : \"-\"\nk { ver : \"1\",\n \"data\" : \"7\"\n}\nver : \"-\"", {"k"}, {"1"}, {"7"}},
      // Keys in order, each on a later line than the one before it.
      {"a b\nver : \"-\"\nb {\nver : \"1\"\n}", {"a", "b"}, {"1"}, {}},
      // Without keys there is no section.
      {"ver : \"1\"", {}, {}, {}},
      // "ver" inside words too; its quote is looked for one character later.
      {"k {\novertly : \"x\"  server\"y\"z\nver\"a\"b\"c", {"k"}, {"x", "z", "b"}, {}},
      // A text without end runs to the end of its line; without a quote there is none.
      {"k {\ndata : \"-\"\n\"data\":\"\"\n\"data\" : \"open\r\n\"data\" 5\nver 6\nver", {"k"}, {}, {"", "open\r"}},
  };
  for (const auto& c : cases) {
    device.write(kFile, c.text);
    const LogCapture log;
    EXPECT_EQ(phone.cal->GetSensorJsonData(c.keys, 1, 0), (Lists{c.ver, c.data})) << c.text;
    EXPECT_EQ(library_lines(log), Lines{"I open config/sensor.json file success!\n"});
  }
  // A line with many matches is searched once, not once a match, which would take hours.
  std::string line;
  for (int i = 0; i < 1 << 20; ++i) line += "ver ";
  device.write(kFile, "k {\n" + line);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(phone.cal->GetSensorJsonData({"k"}, 1, 0), (Lists{{}, {}}));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
}

TEST(ReferenceData, ChoosesTheFile) {
  const DeviceDir device;
  const BenchPhone phone;
  for (const char* name : {"0", "1", "2"}) device.write("/"s + name, "ver  \""s + name + "\"");
  judge_calibrated = {{"Lux", "k", "/0", "1"},      {"Lux", "k", "/1", "1", "c"}, {"Lux", "k", "/9", "1", "c"},
                      {"Lux", "k", "/2", "2", "c"}, {"Acc", "k", "/0", "0", "c"}, {"Acc", "k", "/none", "1", "c"},
                      {"Gyr", "k", "/1", "1", "c"}};
  const char* const invalid = "I GetSensorJsonData judge_calibrated struct is invalid!\n";
  const char* const missing = "I open file fail!\n";
  const char* const opened = "I open config/sensor.json file success!\n";
  const struct {
    int type;
    unsigned mode;
    const char* line;
    Lists expected;
  } cases[] = {{5, 1, opened, {{"1"}, {}}}, {5, 2, opened, {{"2"}, {}}}, {1, 0, opened, {{"0"}, {}}},
               {1, 3, opened, {{"0"}, {}}}, {5, 0, invalid, {}},         {1, 1, missing, {}},
               {1, 2, missing, {}},         {6, 0, missing, {}},         {4, 3, invalid, {}}};
  for (const auto& c : cases) {
    const LogCapture log;
    EXPECT_EQ(phone.cal->GetSensorJsonData({""}, c.type, c.mode), c.expected) << c.type << " " << c.mode;
    EXPECT_EQ(library_lines(log), Lines{c.line});
  }
}

}  // namespace
}  // namespace test
