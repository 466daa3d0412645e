#include <chrono>
#include <thread>

#include "bench_phone.h"
#include "engine/run.h"

namespace test {
namespace {

using ::testing::ElementsAre;

constexpr float kG = 9.80665F;

class EventIntakeTest : public ::testing::Test {
 protected:
  // Arms a record for a run of two samples that passes whatever comes.
  _sensor_info& arm(int record_number, int axes) {
    _sensor_info& record = record_at(*phone_.cal, record_number);
    record = _sensor_info();
    record.axis_num = axes;
    record.sample_num = 1;
    record.variance_threshold = 1e30F;
    for (float& limit : record.bias_threshold) limit = 1e30F;
    for (int i = 0; i < 10; ++i) {
      record.offset[i] = 0.5F * static_cast<float>(i + 1);
      record.scale[i] = static_cast<float>(i + 2);
    }
    record.info.sensorHandle = 100 + record_number;
    return record;
  }
  std::vector<float> mean(const _sensor_info& record) {
    return {record.mean, record.mean + std::min<int>(record.axis_num, 10)};
  }
  BenchPhone phone_;
};

TEST_F(EventIntakeTest, EachTypeHasItsRecordItsLineAndItsSample) {
  const auto kCalibrate = &_sensor_info::in_calibrate, kRaw = &_sensor_info::in_raw_calibrate;
  const auto kBacklight = &_sensor_info::in_backlight_calibrate, kLcdCct = &_sensor_info::in_lcd_cct_calibrate;
  // The line of an event whose values from `first` to `last` are shown.
  const auto data = [](const std::string& name, int first, int last) {
    std::string values;
    for (int i = first; i <= last; ++i) values += (i > first ? ", " : "") + std::to_string(static_cast<float>(i));
    return Lines{"I " + name + " data: {" + values + "}"};
  };
  const Lines cct = data("SENSOR_TYPE__CCT_STRM", 3, 7), als = data("SENSOR_TYPE_ALS_STRM", 2, 6);
  const Lines light = data("SENSOR_TYPE_LIGHT", 1, 1);
  Lines als_inputs = als;
  for (int i = 0; i < 5; ++i) {
    als_inputs.push_back("E INPUT[" + std::to_string(i) + "] is 1.000000 scale is " +
                         std::to_string(static_cast<float>(i + 2)) + " ");
  }
  const Lines cct_inputs =
      cct + Lines{"E INPUT[0] is 1.500000 scale is 2.000000 ", "E INPUT[1] is 1.333333 scale is 3.000000 "};
  const Lines counts =
      data("SENSOR_TYPE_PROXIMITY_STRM", 1, 1) + Lines{"E psensor factorycali, rawdata offset = 7.000000"};
  const std::string lcd_cct = "I SENSOR_TYPE_LIGHT_STRM_CCT_LCD_CALI data: {1.000000, 2.000000, 3.000000, 4.000000, ";
  const struct {
    int type, record, axes;
    uint8_t _sensor_info::*mode;
    std::vector<float> sample;
    Lines lines;
  } cases[] = {
      {1, 0, 3, kCalibrate, {1.5F, 3, 3 + 1.5F - kG}, data("SENSOR_TYPE_ACCELEROMETER", 1, 3)},
      {268369921, 4, 3, kCalibrate, {1.5F, 3, 3 + 1.5F + kG}, data("QTI_SENSOR_TYPE_ACCELEROMETER", 1, 3)},
      {4, 1, 4, kCalibrate, {1.5F, 3, 4.5F, 0}, data("ASENSOR_TYPE_GYROSCOPE", 1, 3)},
      {16, 3, 3, kCalibrate, {1.5F, 3, 4.5F}, data("SENSOR_TYPE_GYROSCOPE_UNCALIBRATED", 1, 3)},
      {268369924, 7, 3, kCalibrate, {1.5F, 3, 4.5F}, data("QTI_SENSOR_TYPE_GYROSCOPE", 1, 3)},
      {6, 17, 1, kCalibrate, {1.5F}, data("SENSOR_TYPE_PRESSURE", 1, 1)},
      {33171005, 8, 1, kCalibrate, {1}, counts},
      {33171057, 13, 2, kCalibrate, {1.5F, 4.0F / 3}, cct},
      {33171057, 13, 2, kRaw, {3, 4}, cct},
      {33171089, 12, 2, kCalibrate, {1.5F, 4.0F / 3}, cct_inputs},
      {33171089, 12, 7, kRaw, {3, 4, 5, 6, 7, 8, 9}, cct},
      {5, 9, 1, kCalibrate, {0.5F}, light},
      {5, 9, 4, kCalibrate, {0.5F, 0, 0, 0}, light},
      {33171007, 9, 5, kCalibrate, {1, 1, 1, 1, 1}, als_inputs},
      {33171054, 10, 2, kRaw, {2, 3}, als},
      {33171055, 11, 1, kBacklight, {1}, {"I SENSOR_TYPE_LIGHT... data in backlight cali: {1.000000}"}},
      {33171085, 11, 2, kLcdCct, {1, 1}, {lcd_cct + "5.000000,6.000000}"}},
      {33171084, 15, 1, kCalibrate, {0.5F}, light},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.type);
    _sensor_info& record = arm(c.record, c.axes);
    record.*c.mode = 1;
    record.mean[0] = 7;
    if (c.type == 6) record.reference = 0;
    LogCapture log;
    phone_.cal->processEvent(event(c.type, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}));
    EXPECT_EQ(library_lines(log), c.lines);
    EXPECT_EQ(mean(record), c.sample);
    EXPECT_EQ(record.status, 2);
    EXPECT_EQ(phone_.queue->disabled().back(), 100 + c.record);
  }
}

TEST_F(EventIntakeTest, OneGyroscopeHasNoSettling) {
  for (const auto& [type, number] : kDelivering) {
    _sensor_info& record = arm(number, 3);
    record.skip_num = record.in_calibrate = 1;
    phone_.cal->processEvent(event(type, {1, 2, 3}));
    EXPECT_EQ(record.status == 2, type == 4) << type;
    EXPECT_EQ(record.event_count, 1) << type;
  }
}

TEST_F(EventIntakeTest, AStepAtThePanelIsAnnouncedWithinTheTargetOrAtItsLastTry) {
  struct Case {
    float lux;
    int tries;
    bool announced;
  };
  for (const Case& c : {Case{9.99F, 0, true}, {10, 0, false}, {0, 0, false}, {10, 1, false}, {10, 2, true}}) {
    _sensor_info& record = arm(9, 1);
    record.in_backlight_calibrate = record.backlight_retry = 1;
    record.retry_count = c.tries;
    pthread_mutex_lock(&phone_.cal->cal_mutex);
    std::thread deliver([&] { phone_.cal->processEvent(event(5, {c.lux})); });
    timespec end{};
    clock_gettime(CLOCK_REALTIME, &end);
    end.tv_sec += c.announced ? 5 : 0;
    end.tv_nsec += 50'000'000;
    if (end.tv_nsec >= 1'000'000'000) end = {end.tv_sec + 1, end.tv_nsec - 1'000'000'000};
    EXPECT_EQ(pthread_cond_timedwait(&phone_.cal->cal_cond, &phone_.cal->cal_mutex, &end) == 0, c.announced)
        << c.lux << " lux at try " << c.tries;
    pthread_mutex_unlock(&phone_.cal->cal_mutex);
    deliver.join();
    EXPECT_EQ(record.status, 2);
  }
}

TEST_F(EventIntakeTest, IdleForeignAndIgnoredEventsAreOnlyLogged) {
  LogCapture log;
  phone_.cal->processEvent(event(1, {1, 2, 3}));
  phone_.cal->processEvent(event(33171057, {1}));
  phone_.cal->processEvent(event(33171085, {1}));
  for (const int type : {2, 3, 8, 14, 33171040, 33171053, 33171056, 33171058, 33171088}) {
    phone_.cal->processEvent(event(type, {1}));
  }
  const Lines lines = library_lines(log);
  ASSERT_EQ(lines.size(), 12U);
  EXPECT_EQ(lines[0], "E received Event while not incalibrate 1");
  EXPECT_EQ(lines[1], "E received Event while not incalibrate 33171057");
  EXPECT_EQ(lines[2], "E 11111111 received Event while not incalibrate 33171085");
  EXPECT_EQ(lines[3], "E Event for sensor(type: 2) not interested.");
  EXPECT_EQ(lines[11], "E Event for sensor(type: 33171088) not interested.");
  EXPECT_EQ(phone_.cal->motion_info[0].event_count, 0);

  log.clear();
  phone_.cal->init_status = -19;
  Event additional = event(33, {});
  additional.u.additional.type = static_cast<::android::hardware::sensors::V1_0::AdditionalInfoType>(0x10001);
  phone_.cal->processEvent(additional);
  EXPECT_THAT(library_lines(log), ElementsAre("I Ignoring event with e.sensorType: 33, u.additional.type: 65537"));
}

TEST_F(EventIntakeTest, TheWaiterIsWokenBeforeTheSensorIsDisabled) {
  arm(9, 1).in_calibrate = 1;
  pthread_mutex_lock(&phone_.cal->cal_mutex);  // the wake-up waits for it
  std::thread deliver([&] { phone_.cal->processEvent(event(5, {1})); });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_THAT(phone_.queue->disabled(), ElementsAre());
  pthread_mutex_unlock(&phone_.cal->cal_mutex);
  deliver.join();
  EXPECT_THAT(phone_.queue->disabled(), ElementsAre(109));
}

}  // namespace
}  // namespace test
