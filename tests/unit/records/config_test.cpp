#include <cmath>

#include "bench_phone.h"
#include "device_dir.h"

namespace test {
namespace {

TEST(Config, ReadsOneValue) {
  const DeviceDir device;
  const BenchPhone phone;
  for (const int code : {1, 3, 4, 10, 22}) phone.hub->reply(code, {bits(0.5F), bits(-1.5F), bits(2.5F)});
  phone.hub->reply(6, {30, 40, 50});
  const struct {
    int type;
    int axis;
    double value;
    int code;  // sent; -1: nothing
    const char* failure;
    bool answered;  // whether the value is logged
  } cases[] = {
      {1, 0, 0.5, 1, nullptr, true},
      {268369921, 0, 0.5, 1, nullptr, true},
      {268369924, 2, 2.5, 3, nullptr, true},
      {2, 0, 0, -1, "E getAMGOffset_api fail type=2, ret=-1", false},
      {6, 0, 0.5, 22, nullptr, true},
      {6, 1, 0, 22, nullptr, true},
      {8, 0, 50, 6, nullptr, true},
      {8, 1, 40, 6, nullptr, true},
      {8, 2, 30, 6, nullptr, true},
      {33171015, 1, -1.5, 4, nullptr, true},
      {33171016, 2, 2.5, 4, nullptr, true},
      {33171040, 0, 50, 6, nullptr, true},
      {33171040, 1, 0, -1, nullptr, true},
      {33171053, 1, 0, -1, "E getconfig fail type=33171053, ret=1", true},
      {1, 3, 0, -1, "E sensor_getconfig invalid parameter axis = 3", false},
  };
  for (const auto& c : cases) {
    const std::string type = std::to_string(c.type), axis = std::to_string(c.axis);
    phone.hub->forget();
    const LogCapture log;
    EXPECT_EQ(phone.cal->sensor_getconfig(c.type, c.axis), c.value) << type << " " << axis;
    const auto sent = phone.hub->sent();
    EXPECT_EQ(sent.size(), c.code < 0 ? 0U : 1U);
    for (const Message& m : sent) EXPECT_EQ((std::vector{m[0], m[1]}), (std::vector{c.type, c.code}));
    Lines expected = {"I sensor_getconfig: enter type=" + type};
    if (c.failure != nullptr) expected.push_back(c.failure);
    if (c.axis < 0 || c.axis > 2) expected.push_back("E getconfig fail type=-10, ret=" + axis);
    if (c.answered) {
      expected.push_back("E sensor_getconfig type=" + type + ", offset[" + axis + "]=" + std::to_string(c.value));
    }
    Lines lines = library_lines(log);
    std::erase_if(lines, [](const std::string& line) { return line.find("prox") != std::string::npos; });  // the probes
    EXPECT_EQ(lines, expected);
  }
}

TEST(Config, DependsOnTheDefaultSensors) {
  const DeviceDir device;
  device.write("/mnt/vendor/persist/sensors/PSensor_ct2.txt", "offset=22\n");
  const struct {
    std::string prox, light;  // the chips; empty: not listed, so that the probe fails
    double crosstalk;         // component 0 of the proximity sensor
    const char* supports;     // what the probes found
    const char* rgb;
  } cases[] = {
      // A part that calibrates its own crosstalk keeps component 0 in its second file.
      {"tmd2725_prox", "BH1745 BH1745 ALS DEVICE", 22, "1", "1"},
      {"other_prox", "other_light", 50, "0", "0"},
      {"", "", 22, "-3", ""},  // a probe that fails counts as such a part
  };
  for (const auto& c : cases) {
    const BenchPhone phone(
        {sensor(c.prox.empty() ? 1 : 8, 1, c.prox.c_str()), sensor(c.light.empty() ? 1 : 5, 2, c.light.c_str())});
    phone.hub->reply(6, {30, 40, 50});
    phone.hub->reply(10, {bits(1.25F)});
    LogCapture log;
    for (const int axis : {0, 1}) {
      log.clear();
      EXPECT_EQ(phone.cal->sensor_getconfig(8, axis), axis == 0 ? c.crosstalk : 40.0);
      EXPECT_EQ(log.count(std::string("supporthwcal ") + c.supports), 1U);
      EXPECT_EQ(log.count(c.prox.empty() ? "Sensor not found!" : "Sensor: "), axis == 0 ? 2U : 1U);  // probes
    }
    for (const int type : {5, 33171054, 33171055, 33171080, 33171081, 33171082, 33171084, 33171085}) {
      EXPECT_EQ(phone.cal->sensor_getconfig(type, 0), c.light.empty() ? 0.0 : 1.25) << type;
    }
    EXPECT_EQ(log.count(std::string("scale = 1.000000, is_rgb = ") + c.rgb), c.light.empty() ? 0U : 8U);
    EXPECT_EQ(log.count("getLuxScale_api fail"), 0U);
  }
}

TEST(Config, ReadsAnArray) {
  const BenchPhone phone;
  phone.hub->reply(4, {0, bits(1.5F), bits(2.5F)});
  const struct {
    int type;
    int length;
    const char* goodix;
    int code;  // sent; -1: nothing
    int result;
    const char* line;
  } cases[] = {
      {33171089, 3, "", 31, 7, "E ams_cct_sensor getconfig \n"},
      {33171089, -1, "", 31, 7, "E ams_cct_sensor getconfig \n"},
      {33171089, 3, "0", -1, 0, "E goodix_cct_sensor do not getconfig \n"},
      {33171057, 10, "1", 31, 7, "E ams_cct_sensor getconfig \n"},
      {33171007, 3, "1", 31, 7, "E ams_cct_sensor getconfig \n"},
      {33171007, 3, "1", 31, 0, "E ams_cct_sensor getconfig \n"},
      {33171016, 3, "", 4, 0, nullptr},
      {33171015, -1, "", 4, 0, nullptr},
      {33171016, 11, "", -1, -1, "E sensor_getconfig fail length too long!"},
      {1, 3, "", -1, 0, nullptr},
  };
  for (const auto& c : cases) {
    const std::string type = std::to_string(c.type);
    phone.hub->forget();
    phone.hub->reply(31, {c.result, bits(1.5F), bits(2.5F)});
    host::force_property("persist.vendor.goodix.cct_support", c.goodix);
    float values[10] = {-1, -1};
    const LogCapture log;
    EXPECT_EQ(phone.cal->sensor_getconfig(c.type, values, c.length), c.result) << type;
    const Message request = message(c.type, c.code, {bits(static_cast<float>(c.length))});
    EXPECT_EQ(phone.hub->sent(), c.code < 0 ? std::vector<Message>() : std::vector{request});
    EXPECT_EQ(values[1], c.code < 0 || c.length < 0 ? -1.0F : 2.5F);
    Lines expected = {"I sensor_getconfig: sensor_getconfig enter type=" + type +
                      ", length=" + std::to_string(c.length)};
    if (c.line != nullptr) expected.push_back(c.line);
    if (c.result > 0) expected.push_back("E getLuxChannelScale_api fail type=" + type + ", ret=7");
    EXPECT_EQ(library_lines(log), expected);
  }
}

TEST(Config, CollectData) {
  const BenchPhone phone;
  for (const bool answers : {true, false}) {
    phone.hub->reply(0, {bits(-7.9F)});
    phone.hub->transport_fails = !answers;
    const LogCapture log;
    EXPECT_EQ(phone.cal->collectData(), answers ? -7 : 1);  // without an answer: the request's own word
    EXPECT_EQ(library_lines(log), (Lines{"E qvx SensorCalibration::collectData \n", "E log in sensor_collectData \n",
                                         answers ? "E qvx collectData return is -7.900000 \n"
                                                 : "E qvx collectData return is 1.000000 \n"}));
    EXPECT_EQ(phone.hub->sent().back(), message(0, 0, {bits(1), bits(-10)}));
  }
  phone.hub->transport_fails = false;
  phone.hub->reply(0, {bits(INFINITY)});
  EXPECT_EQ(phone.cal->collectData(), 2147483647);
}

TEST(Config, WithoutServicesEveryQueryFails) {
  SensorCalibration cal;
  float values[10] = {};
  EXPECT_EQ(cal.sensor_getconfig(1, 0), 0.0);
  EXPECT_EQ(cal.sensor_getconfig(33171089, values, 3), -1);
  EXPECT_EQ(cal.sensor_getconfig(33171015, values, 3), -1);
  EXPECT_EQ(cal.GetCalibrated(), "");
  EXPECT_EQ(cal.collectData(), -1);
}

}  // namespace
}  // namespace test
