#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>

#include "bench_phone.h"
#include "device_dir.h"

namespace {

using test::BenchPhone;
using test::bits;
using test::Lines;
using test::LogCapture;
using test::message;
using test::swinging;
using ::testing::ElementsAre;

struct InertialCase {
  int type;
  int event_type;
  int handle;
  int get, set;
  Lines entry;
  std::string absent;
};

const InertialCase kInertial[] = {
    {1,
     1,
     100,
     1,
     0,
     {"I/libsensor_cal: continue_reporting_sensor_calibrate: enter type=1, param = 0",
      "I/libsensor_cal: continue_reporting_sensor_calibrate: enter line=2065"},
     "sensor not exist. type = 1"},
    {268369921,
     268369921,
     104,
     1,
     0,
     {"I/libsensor_cal: continue_reporting_sensor_calibrate: enter type=268369921, param = 0",
      "I/libsensor_cal: continue_reporting_sensor_calibrate: enter line=2160"},
     "sensor not exist. type = 268369921"},
    {4,
     16,
     103,
     3,
     2,
     {"I/libsensor_cal: continue_reporting_sensor_calibrate: enter type=4, param = 0"},
     "uncalibrated sensor not exist. type = 4"},
    {268369924,
     268369924,
     107,
     3,
     2,
     {"I/libsensor_cal: continue_reporting_sensor_calibrate: enter type=268369924, param = 0"},
     "uncalibrated sensor not exist. type = 268369924"},
};

// What the sensor reports so that the run's mean is (0.125, -0.25, 0.375) with the hub's offset 0.25 on every axis.
std::vector<float> reported(int type) {
  const float gravity = type == 1 ? 9.80665F : type == 268369921 ? -9.80665F : 0;
  return {-0.125F, -0.5F, 0.125F + gravity};
}

TEST(InertialFlowTest, FromRequestToHub) {
  for (const InertialCase& c : kInertial) {
    SCOPED_TRACE(c.type);
    BenchPhone phone;
    const int settling = 3;
    phone.queue->script(c.handle, swinging(c.event_type, 50 + settling, reported(c.type), 0.25F));
    phone.hub->reply(c.get, {bits(0.25F), bits(0.25F), bits(0.25F)});
    LogCapture log;
    EXPECT_EQ(phone.cal->sensor_calibrate(c.type, 0), 0);
    phone.queue->drain();

    const auto sent = phone.hub->sent();
    ASSERT_EQ(sent.size(), 2U);
    EXPECT_EQ(sent[0], message(c.type, c.get));
    EXPECT_EQ(sent[1][0], c.type);
    EXPECT_EQ(sent[1][1], c.set);
    char success[160];
    float offset[3];
    memcpy(offset, &sent[1][2], sizeof offset);
    EXPECT_NEAR(offset[0], 0.125F, 1e-5F);
    EXPECT_NEAR(offset[1], -0.25F, 1e-5F);
    EXPECT_NEAR(offset[2], 0.375F, 1e-5F);
    snprintf(success, sizeof success, "I/libsensor_cal: calibrate sensor(type=%d) successfully, offset=%f,%f,%f",
             c.type, static_cast<double>(offset[0]), static_cast<double>(offset[1]), static_cast<double>(offset[2]));

    EXPECT_THAT(phone.queue->enabled(), ElementsAre(test::Enabling{c.handle, 20000, 0}));
    EXPECT_THAT(phone.queue->disabled(), ElementsAre(c.handle));
    Lines expected = {"I/libsensor_cal: [sensor_calibrate] type = " + std::to_string(c.type) + ", param = 0"};
    expected.insert(expected.end(), c.entry.begin(), c.entry.end());
    if (c.get == 3) expected.push_back("E/libsensor_cal: hwversion=\n");
    expected.push_back(success);
    EXPECT_EQ(log.mine_under("libsensor_cal"), expected);
  }
}

TEST(InertialFlowTest, EachFailureHasItsLineAndLeavesTheHubAlone) {
  for (const InertialCase& c : kInertial) {
    SCOPED_TRACE(c.type);
    {
      BenchPhone phone({test::sensor(4, 101, "gyro")});  // the calibrated gyroscope alone does not do
      LogCapture log;
      EXPECT_EQ(phone.cal->sensor_calibrate(c.type, 0), -1);
      const Lines lines = log.mine_under("libsensor_cal");
      EXPECT_EQ(lines.from_end(2), "E/libsensor_cal: continue_reporting_sensor_calibrate: " + c.absent);
      EXPECT_EQ(phone.hub->sent().size(), 0U);
    }
    {
      BenchPhone phone;
      phone.queue->script(c.handle, swinging(c.event_type, 53, reported(c.type), 0.25F));
      phone.hub->reply(c.set, {5});
      LogCapture log;
      EXPECT_EQ(phone.cal->sensor_calibrate(c.type, 0), -1);
      const Lines lines = log.mine_under("libsensor_cal");
      EXPECT_EQ(lines.from_end(2),
                "E/libsensor_cal: calibrate sensor(type=" + std::to_string(c.type) + ") failed when set offset to hub");
    }
  }
}

TEST(InertialFlowTest, OneProductForgetsTheRunTimeBias) {
  for (const auto& [type, handle, event_type] : {std::tuple(4, 103, 16), {268369924, 107, 268369924}, {1, 100, 1}}) {
    BenchPhone phone;
    host::force_property("ro.build.product", "velra");
    phone.queue->script(handle, swinging(event_type, 53, reported(type), 0.25F));
    phone.hub->reply(33, {9});  // its result does not matter
    LogCapture log;
    EXPECT_EQ(phone.cal->sensor_calibrate(type, 0), 0);
    const auto sent = phone.hub->sent();
    EXPECT_EQ(sent.back(), type != 1 ? message(type, 33) : sent[1]);
    EXPECT_EQ(log.contains("E/libsensor_cal: product_name is velra\n"), type != 1);
  }
}

TEST(SingleLightFlowTest, EveryTypeScalesTo200Lux) {
  const std::pair<int, int> kTypes[] = {{5, 109},        {33171054, 110}, {33171055, 111}, {33171085, 111},
                                        {33171081, 114}, {33171082, 114}, {33171080, 115}, {33171084, 115}};
  for (const auto& [type, handle] : kTypes) {
    SCOPED_TRACE(type);
    BenchPhone phone;
    const int record_number = handle - 100;
    _sensor_info& record = phone.cal->env_info[record_number - 8];
    record.in_backlight_calibrate = 1;  // left by an earlier run
    record.lux_flag = true;
    phone.queue->script(handle, swinging(type, 10, {100.0F}, 0));  // a constant reading is fine here
    phone.hub->reply(10, {bits(2.0F)});
    LogCapture log;
    EXPECT_EQ(phone.cal->continue_reporting_sensor_calibrate(type, 0), 0);
    EXPECT_THAT(phone.hub->sent(), ElementsAre(message(type, 10), message(type, 9, {bits(4.0F)})));
    EXPECT_THAT(phone.queue->enabled(), ElementsAre(test::Enabling{handle, 100000, 0}));
    EXPECT_EQ(record.coefficient, 4.0F);
    EXPECT_TRUE(log.contains("D/libsensor_calapi: setLuxScale_api scale:4.000000, is_rgb = 1"));
    EXPECT_EQ(log.mine_under("libsensor_cal").back(),
              "I/libsensor_cal: lightsensor sensor calibrate success: coefficient = 4.000000");
  }
}

TEST(SingleLightFlowTest, CoefficientLimitsAreInclusive) {
  for (const auto& [lux, result] : {std::pair(0.2F, 0), {0.19F, -1}, {0.0F, -1}, {-1.0F, -1}}) {
    BenchPhone phone;
    phone.hub->reply(10, {bits(1.0F)});
    phone.queue->script(109, swinging(5, 10, {lux}, 0));
    LogCapture log;
    EXPECT_EQ(phone.cal->continue_reporting_sensor_calibrate(5, 0), result) << lux;
    EXPECT_EQ(log.mine_under("libsensor_cal").back() == "E/libsensor_cal: fatal error: invalid coefficient",
              result != 0)
        << lux;
  }
}

class StreamFlowTest : public ::testing::Test {
 protected:
  void SetUp() override { std::filesystem::create_directories(dir_.host_path("/mnt/vendor/nvcfg/sensor")); }
  std::string file() const { return dir_.host_path("/mnt/vendor/nvcfg/sensor/lightSensorCali.json"); }

  // Channels 10, 20, ... from the word where the type carries them.
  static std::vector<test::Event> channels(int type) {
    std::vector<float> data(16, 99.0F);
    const size_t first = type == 33171007 ? 1 : 2;
    for (size_t i = 0; i < 7; ++i) data[first + i] = 10.0F * static_cast<float>(i + 1);
    return swinging(type, 10, data, 0);
  }
  const test::DeviceDir dir_;
};

TEST_F(StreamFlowTest, ScalesComeFromGoldenOverRaw) {
  for (const auto& [type, handle] : {std::pair(33171089, 112), {33171057, 113}, {33171007, 109}}) {
    SCOPED_TRACE(type);
    BenchPhone phone;
    host::force_property("persist.vendor.display.parse.algorithm", "true");
    std::ofstream(file()) << "{\"als\": {\"x\": 1}}";
    _sensor_info& record = phone.cal->env_info[handle - 108];
    record.in_raw_calibrate = 1;  // left by an earlier run
    phone.queue->script(handle, channels(type));
    // Only a negative result is a failed read. Raw is 5, 10, 15, 20, 25.
    phone.hub->reply(29, {3, bits(20), bits(20), bits(60), bits(20), bits(50)});
    phone.hub->reply(31, {4, bits(2), bits(2), bits(2), bits(2), bits(2)});
    LogCapture log;
    EXPECT_EQ(phone.cal->continue_reporting_sensor_calibrate(type, 0), 0);
    EXPECT_EQ(record.in_calibrate + record.in_raw_calibrate, 0);
    const std::vector<int32_t> five = {bits(5.0F)};
    EXPECT_THAT(phone.hub->sent(),
                ElementsAre(message(type, 29, five), message(type, 31, five),
                            message(type, 30, {bits(5.0F), bits(4), bits(2), bits(4), bits(1), bits(2)})));
    EXPECT_THAT(phone.queue->enabled(), ElementsAre(test::Enabling{handle, 100000, 0}));
    Lines lines = log.mine_under("libsensor_cal");
    ASSERT_GT(lines.size(), 5U);
    EXPECT_EQ(lines[1] == "E/libsensor_cal: surpport ams_cct_sensor \n", type == 33171089);
    lines.erase(lines.begin(), lines.end() - 5);
    EXPECT_THAT(lines,
                ElementsAre("I/libsensor_cal: lightsensor sensor calibrate success: channel_scale[0] = 4.000000",
                            "I/libsensor_cal: lightsensor sensor calibrate success: channel_scale[1] = 2.000000",
                            "I/libsensor_cal: lightsensor sensor calibrate success: channel_scale[2] = 4.000000",
                            "I/libsensor_cal: lightsensor sensor calibrate success: channel_scale[3] = 1.000000",
                            "I/libsensor_cal: lightsensor sensor calibrate success: channel_scale[4] = 2.000000"));
    // Only one type's scales go to the file.
    std::ifstream in(file());
    const std::string text{std::istreambuf_iterator<char>(in), {}};
    EXPECT_EQ(text.find("4.000000,2.000000,4.000000,1.000000,") != std::string::npos, type == 33171089);
  }
}

TEST_F(StreamFlowTest, ScaleLimitsAreInclusiveAndComparedInDoublePrecision) {
  struct Case {
    size_t channel;
    float golden;
    const char* refused;
  };
  // Raw channel 0 is 10. The float nearest to 0.001 lies above it and passes, the next one below does not.
  const Case kCases[] = {{0, 10000, nullptr},
                         {0, 10001, "[0] = 1000.099976"},
                         {0, std::nextafter(0.01F, 1.0F), nullptr},
                         {0, 0.01F, "[0] = 0.001000"},
                         {3, 50000, "[3] = 1250.000000"}};
  for (const Case& c : kCases) {
    BenchPhone phone;
    phone.queue->script(112, channels(33171089));
    std::vector<int32_t> golden = {0, bits(10), bits(20), bits(30), bits(40), bits(50)};
    golden[1 + c.channel] = bits(c.golden);
    phone.hub->reply(29, golden);
    phone.hub->reply(31, {0, bits(1), bits(1), bits(1), bits(1), bits(1)});
    LogCapture log;
    EXPECT_EQ(phone.cal->continue_reporting_sensor_calibrate(33171089, 0), c.refused == nullptr ? 0 : -1) << c.golden;
    if (c.refused == nullptr) continue;
    EXPECT_EQ(log.mine_under("libsensor_cal").back(),
              std::string("E/libsensor_cal: cct channel_scale not in resonable arrange channel_scale") + c.refused);
  }
}

TEST_F(StreamFlowTest, ScalesThatTheHubRefuses) {
  BenchPhone phone;
  phone.queue->script(112, channels(33171089));
  phone.hub->reply(29, {0, bits(10), bits(20), bits(30), bits(40), bits(50)});
  phone.hub->reply(31, {0, bits(1), bits(1), bits(1), bits(1), bits(1)});
  phone.hub->reply(30, {3});
  LogCapture log;
  EXPECT_EQ(phone.cal->continue_reporting_sensor_calibrate(33171089, 0), -1);
  EXPECT_EQ(log.mine_under("libsensor_cal").back(),
            "E/libsensor_cal: calibrate sensor(type=33171089) failed when set offset to hub");
}

TEST_F(StreamFlowTest, GoldenDataAreSevenUnscaledChannels) {
  BenchPhone phone;
  _sensor_info& record = phone.cal->env_info[5];
  for (float& scale : record.scale) scale = 100;
  record.in_calibrate = 1;  // left by an earlier run
  phone.queue->script(113, channels(33171057));
  LogCapture log;
  EXPECT_EQ(phone.cal->continue_reporting_sensor_calibrate(33171057, -1), 0);
  EXPECT_THAT(phone.hub->sent(),
              ElementsAre(message(33171057, 28,
                                  {bits(7.0F), bits(10), bits(20), bits(30), bits(40), bits(50), bits(60), bits(70)})));
  const Lines lines = log.mine_under("libsensor_cal");
  ASSERT_EQ(lines.size(), 8U);
  EXPECT_EQ(lines[1], "I/libsensor_cal: golden channel data: channel 1 = 10.000000");
  EXPECT_EQ(lines[7], "I/libsensor_cal: golden channel data: channel 7 = 70.000000");
  EXPECT_EQ(record.in_calibrate + record.in_raw_calibrate, 0);

  phone.hub->reply(28, {1});
  EXPECT_EQ(phone.cal->continue_reporting_sensor_calibrate(33171057, -1), -1);
  EXPECT_EQ(log.mine_under("libsensor_cal").back(),
            "E/libsensor_cal: sensor(type=33171057) failed to set golden channel data");
}

TEST_F(StreamFlowTest, TheHubsOwnRunIsPolledThirtyTimesAtMost) {
  BenchPhone phone;
  host::force_property("persist.vendor.goodix.cct_support", "0");  // any text will do
  phone.hub->reply(40, {-1});
  LogCapture log;
  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(phone.cal->sensor_calibrate(33171089, -1), 1098);
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(4400));
  const auto sent = phone.hub->sent();
  ASSERT_EQ(sent.size(), 31U);
  EXPECT_EQ(sent[0], message(33171089, 39, {bits(-1.0F)}));
  EXPECT_EQ(sent[30], message(33171089, 40, {bits(-1.0F), bits(92.0F)}));
  const Lines lines = log.mine_under("libsensor_cal");
  EXPECT_EQ(lines[2], "E/libsensor_cal: surpport goodix_cct_sensor \n");
  EXPECT_EQ(lines[3], "D/libsensor_cal: calibrate cct sensor(type=33171089) wait to be finished, countdown_times=30");
  EXPECT_EQ(lines.from_end(2),
            "D/libsensor_cal: calibrate cct sensor(type=33171089) wait to be finished, countdown_times=1");
  EXPECT_EQ(lines.back(), "E/libsensor_cal: continue_reporting_sensor_calibrate fail ret=1098");

  phone.hub->reply(40, {17});
  EXPECT_EQ(phone.cal->continue_reporting_sensor_calibrate(33171089, 0), 17);
  phone.hub->reply(39, {2});
  EXPECT_EQ(phone.cal->continue_reporting_sensor_calibrate(33171089, 0), -1);
  EXPECT_EQ(log.mine_under("libsensor_cal").back(),
            "E/libsensor_cal: calibrate cct sensor(type=33171089) failed when set offset to hub");
}

}  // namespace
