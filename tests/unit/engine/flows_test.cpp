#include <unistd.h>

#include "bench_phone.h"
#include "device_dir.h"

namespace {
int slept_us = 0;
}

// In the place of the C library's: nobody waits here.
extern "C" int usleep(useconds_t us) {
  slept_us += static_cast<int>(us);
  return 0;
}

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::FloatNear;
using ::testing::Pointwise;

struct InertialCase {
  int type, event_type, handle;
  int get, set;
  const char* line;  // the second line of the entry names it
};

const InertialCase kInertial[] = {{1, 1, 100, 1, 0, "2065"},
                                  {268369921, 268369921, 104, 1, 0, "2160"},
                                  {4, 16, 103, 3, 2, nullptr},
                                  {268369924, 268369924, 107, 3, 2, nullptr}};

// What the sensor reports so that the run's mean is (0.125, -0.25, 0.375) with the hub's offset 0.25 on every axis.
std::vector<float> reported(int type) {
  const float gravity = type == 1 ? 9.80665F : type == 268369921 ? -9.80665F : 0;
  return {-0.125F, -0.5F, 0.125F + gravity};
}

TEST(InertialFlowTest, FromRequestToHub) {
  for (const InertialCase& c : kInertial) {
    SCOPED_TRACE(c.type);
    BenchPhone phone;
    phone.queue->script(c.handle, swinging(c.event_type, 3 + 50, reported(c.type), 0.25F));  // 3 to settle
    phone.hub->reply(c.get, {bits(0.25F), bits(0.25F), bits(0.25F)});
    LogCapture log;
    EXPECT_EQ(phone.cal->sensor_calibrate(c.type, 0), 0);
    phone.queue->drain();

    const auto sent = phone.hub->sent();
    ASSERT_EQ(sent.size(), 2U);
    EXPECT_EQ(sent[0], message(c.type, c.get));
    std::array<float, 3> offset;
    memcpy(offset.data(), &sent[1][2], sizeof offset);
    EXPECT_EQ(sent[1], message(c.type, c.set, {bits(offset[0]), bits(offset[1]), bits(offset[2])}));
    EXPECT_THAT(offset, Pointwise(FloatNear(1e-5F), {0.125F, -0.25F, 0.375F}));

    EXPECT_THAT(phone.queue->enabled(), ElementsAre(Enabling{c.handle, 20000, 0}));
    EXPECT_THAT(phone.queue->disabled(), ElementsAre(c.handle));
    const std::string type = std::to_string(c.type), enter = "I continue_reporting_sensor_calibrate: enter ";
    Lines expected = {"I [sensor_calibrate] type = " + type + ", param = 0", enter + "type=" + type + ", param = 0"};
    if (c.line != nullptr) expected.push_back(enter + "line=" + c.line);
    if (c.get == 3) expected.push_back("E hwversion=\n");
    expected.push_back("I calibrate sensor(type=" + type + ") successfully, offset=" + std::to_string(offset[0]) + "," +
                       std::to_string(offset[1]) + "," + std::to_string(offset[2]));
    EXPECT_EQ(library_lines(log), expected);
  }
}

TEST(InertialFlowTest, EachFailureHasItsLineAndLeavesTheHubAlone) {
  for (const InertialCase& c : kInertial) {
    SCOPED_TRACE(c.type);
    const std::string type = std::to_string(c.type);
    LogCapture log;
    {
      BenchPhone phone({sensor(4, 101, "gyro")});  // the calibrated gyroscope alone does not do
      EXPECT_EQ(phone.cal->sensor_calibrate(c.type, 0), -1);
      EXPECT_EQ(library_lines(log).from_end(2),
                "E continue_reporting_sensor_calibrate: " + std::string(c.get == 3 ? "uncalibrated " : "") +
                    "sensor not exist. type = " + type);
      EXPECT_EQ(phone.hub->sent().size(), 0U);
    }
    BenchPhone phone;
    phone.queue->script(c.handle, swinging(c.event_type, 53, reported(c.type), 0.25F));
    phone.hub->reply(c.set, {5});
    EXPECT_EQ(phone.cal->sensor_calibrate(c.type, 0), -1);
    EXPECT_EQ(library_lines(log).from_end(2), "E calibrate sensor(type=" + type + ") failed when set offset to hub");
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
    _sensor_info& record = phone.cal->env_info[handle - 108];
    record.in_backlight_calibrate = 1;  // left by an earlier run
    record.lux_flag = true;
    phone.queue->script(handle, swinging(type, 10, {100.0F}, 0));  // a constant reading is fine here
    phone.hub->reply(10, {bits(2.0F)});
    LogCapture log;
    EXPECT_EQ(phone.cal->continue_reporting_sensor_calibrate(type, 0), 0);
    EXPECT_THAT(phone.hub->sent(), ElementsAre(message(type, 10), message(type, 9, {bits(4.0F)})));
    EXPECT_THAT(phone.queue->enabled(), ElementsAre(Enabling{handle, 100000, 0}));
    EXPECT_EQ(record.coefficient, 4.0F);
    EXPECT_TRUE(log.contains("D/libsensor_calapi: setLuxScale_api scale:4.000000, is_rgb = 1"));
    EXPECT_EQ(library_lines(log).back(), "I lightsensor sensor calibrate success: coefficient = 4.000000");
  }
}

TEST(SingleLightFlowTest, CoefficientLimitsAreInclusive) {
  for (const auto& [lux, result] : {std::pair(0.2F, 0), {0.19F, -1}, {0.0F, -1}, {-1.0F, -1}}) {
    BenchPhone phone;
    phone.hub->reply(10, {bits(1.0F)});
    phone.queue->script(109, swinging(5, 10, {lux}, 0));
    LogCapture log;
    EXPECT_EQ(phone.cal->continue_reporting_sensor_calibrate(5, 0), result) << lux;
    EXPECT_EQ(library_lines(log).back() == "E fatal error: invalid coefficient", result != 0) << lux;
  }
}

class StreamFlowTest : public ::testing::Test {
 protected:
  static constexpr char kFile[] = "/mnt/vendor/nvcfg/sensor/lightSensorCali.json";

  // Channels 10, 20, ... from the word where the type carries them.
  static std::vector<Event> channels(int type) {
    std::vector<float> data(16, 99.0F);
    const size_t first = type == 33171007 ? 1 : 2;
    for (size_t i = 0; i < 7; ++i) data[first + i] = 10.0F * static_cast<float>(i + 1);
    return swinging(type, 10, data, 0);
  }
  const DeviceDir dir_;
};

TEST_F(StreamFlowTest, ScalesComeFromGoldenOverRaw) {
  for (const auto& [type, handle] : {std::pair(33171089, 112), {33171057, 113}, {33171007, 109}}) {
    SCOPED_TRACE(type);
    BenchPhone phone;
    host::force_property("persist.vendor.display.parse.algorithm", "true");
    dir_.write(kFile, R"({"als": {"x": 1}})");
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
    EXPECT_THAT(phone.queue->enabled(), ElementsAre(Enabling{handle, 100000, 0}));
    const Lines lines = library_lines(log);
    ASSERT_GT(lines.size(), 5U);
    EXPECT_EQ(lines[1] == "E surpport ams_cct_sensor \n", type == 33171089);
    const char* const scales[] = {"4.000000", "2.000000", "4.000000", "1.000000", "2.000000"};
    for (size_t i = 0; i < 5; ++i) {
      EXPECT_EQ(lines.from_end(5 - i),
                "I lightsensor sensor calibrate success: channel_scale[" + std::to_string(i) + "] = " + scales[i]);
    }
    // Only one type's scales go to the file.
    EXPECT_EQ(dir_.read(kFile).find("4.000000,2.000000,4.000000,1.000000,") != std::string::npos, type == 33171089);
  }
}

TEST_F(StreamFlowTest, ScaleLimitsAreInclusiveAndComparedInDoublePrecision) {
  const std::string refused = "E cct channel_scale not in resonable arrange channel_scale";
  const struct {
    size_t channel;
    float golden;
    std::string line;
    int set_result = 0;
  } cases[] = {
      // Raw channel 0 is 10. The float nearest to 0.001 lies above it and passes, the next one below does not.
      {0, 10000, ""},
      {0, 10001, refused + "[0] = 1000.099976"},
      {0, std::nextafter(0.01F, 1.0F), ""},
      {0, 0.01F, refused + "[0] = 0.001000"},
      {3, 50000, refused + "[3] = 1250.000000"},
      {0, 10, "E calibrate sensor(type=33171089) failed when set offset to hub", 3},
  };
  for (const auto& c : cases) {
    BenchPhone phone;
    phone.queue->script(112, channels(33171089));
    std::vector<int32_t> golden = {0, bits(10), bits(20), bits(30), bits(40), bits(50)};
    golden[1 + c.channel] = bits(c.golden);
    phone.hub->reply(29, golden);
    phone.hub->reply(31, {0, bits(1), bits(1), bits(1), bits(1), bits(1)});
    phone.hub->reply(30, {c.set_result});
    LogCapture log;
    EXPECT_EQ(phone.cal->continue_reporting_sensor_calibrate(33171089, 0), c.line.empty() ? 0 : -1) << c.golden;
    if (!c.line.empty()) {
      EXPECT_EQ(library_lines(log).back(), c.line);
    }
  }
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
  const Lines lines = library_lines(log);
  ASSERT_EQ(lines.size(), 8U);
  EXPECT_EQ(lines[1], "I golden channel data: channel 1 = 10.000000");
  EXPECT_EQ(lines[7], "I golden channel data: channel 7 = 70.000000");
  EXPECT_EQ(record.in_calibrate + record.in_raw_calibrate, 0);

  phone.hub->reply(28, {1});
  EXPECT_EQ(phone.cal->continue_reporting_sensor_calibrate(33171057, -1), -1);
  EXPECT_EQ(library_lines(log).back(), "E sensor(type=33171057) failed to set golden channel data");
}

TEST_F(StreamFlowTest, TheHubsOwnRunIsPolledThirtyTimesAtMost) {
  BenchPhone phone;
  host::force_property("persist.vendor.goodix.cct_support", "0");  // any text will do
  phone.hub->reply(40, {-1});
  LogCapture log;
  slept_us = 0;
  EXPECT_EQ(phone.cal->sensor_calibrate(33171089, -1), 1098);
  EXPECT_EQ(slept_us, 30 * 150'000);
  const auto sent = phone.hub->sent();
  ASSERT_EQ(sent.size(), 31U);
  EXPECT_EQ(sent[0], message(33171089, 39, {bits(-1.0F)}));
  EXPECT_EQ(sent[30], message(33171089, 40, {bits(-1.0F), bits(92.0F)}));
  const Lines lines = library_lines(log);
  EXPECT_EQ(lines[2], "E surpport goodix_cct_sensor \n");
  EXPECT_EQ(lines[3], "D calibrate cct sensor(type=33171089) wait to be finished, countdown_times=30");
  EXPECT_EQ(lines.from_end(2), "D calibrate cct sensor(type=33171089) wait to be finished, countdown_times=1");
  EXPECT_EQ(lines.back(), "E continue_reporting_sensor_calibrate fail ret=1098");

  phone.hub->reply(40, {17});
  slept_us = 0;
  EXPECT_EQ(phone.cal->continue_reporting_sensor_calibrate(33171089, 0), 17);
  EXPECT_EQ(slept_us, 100'000);
  phone.hub->reply(39, {2});
  EXPECT_EQ(phone.cal->continue_reporting_sensor_calibrate(33171089, 0), -1);
  EXPECT_EQ(library_lines(log).back(), "E calibrate cct sensor(type=33171089) failed when set offset to hub");
}

}  // namespace
}  // namespace test
