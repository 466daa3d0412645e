#include <array>
#include <atomic>
#include <chrono>

#include "bench_phone.h"
#include "engine/run.h"

namespace test {
namespace {

using ::testing::ElementsAre;

TEST(RunSettingsTest, EachKindOfCalibrationHasItsSettingsAndItsLineWhenTheSensorCannotBeEnabled) {
  //                                      period axes timeout samples variance zero bias skip
  constexpr RunSettings kAccelerometer = {20, 3, 5, 50, 10, 1, 2, 3};
  constexpr RunSettings kGyroscope = {20, 3, 5, 50, 10, 1, 0.5F, 3};
  constexpr RunSettings kBarometer = {50, 1, 5, 10, 10000, 1, 100, 3};
  constexpr RunSettings kLight = {100, 1, 8, 5, 10000, 0, 10000, 5};
  constexpr RunSettings kScales = {100, 5, 5, 5, 10000, 0, 20000, 5};
  constexpr RunSettings kGolden = {100, 7, 5, 5, 10000, 0, 20000, 5};
  constexpr RunSettings kProximity = {100, 1, 5, 10, 2000, 0, 10000, 10};
  struct Case {
    int type, param, record;
    const RunSettings& settings;
    size_t reads;  // commands sent before the run
    const char* line;
  };
  const Case kCases[] = {
      {1, 0, 0, kAccelerometer, 1, "sensor(type=1) calibrate fail: state=0"},
      {268369921, 0, 4, kAccelerometer, 1, "sensor(type=268369921) calibrate fail: state=0"},
      {4, 0, 3, kGyroscope, 1, "sensor(type=4) calibrate fail: state=0"},
      {268369924, 0, 7, kGyroscope, 1, "sensor(type=268369924) calibrate fail: state=0"},
      {6, 0, 17, kBarometer, 1, "sensor(type=6) calibrate fail: state=0"},
      {5, 0, 9, kLight, 1, "lightsensor calibrate fail: state=0"},
      {33171084, 0, 15, kLight, 1, "lightsensor calibrate fail: state=0"},
      {33171007, 0, 9, kScales, 2, "lightsensor calibrate fail: state=0"},
      {33171057, 2, 13, kScales, 2, "lightsensor calibrate fail: state=0"},
      {33171089, 1, 12, kScales, 2, "lightsensor calibrate fail: state=0"},
      {33171089, -1, 12, kGolden, 0, "set golden channel data fail: state=0"},
      {8, 1, 8, kProximity, 0, "lightsensor calibrate fail: state=0"},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.type);
    const RunSettings& s = c.settings;
    BenchPhone phone;
    _sensor_info& r = record_at(*phone.cal, c.record);
    r.period_ms = r.axis_num = r.timeout_s = r.sample_num = r.skip_num = r.event_count = r.zero_variance_check = 7;
    phone.queue->enable_result = Result::NO_INIT;
    LogCapture log;
    EXPECT_EQ(phone.cal->sensor_calibrate(c.type, c.param), -1);
    EXPECT_EQ(library_lines(log).from_end(2), std::string("E ") + c.line);  // before the dispatch's
    EXPECT_TRUE(log.contains("_reporting_sensor_calibrate fail ret=-1"));
    EXPECT_EQ(phone.hub->sent().size(), c.reads);
    EXPECT_THAT(phone.queue->enabled(), ElementsAre(Enabling{100 + c.record, s.period_ms * 1000, 0}));
    EXPECT_THAT((std::array{r.period_ms, r.axis_num, r.timeout_s, r.sample_num, r.skip_num, r.event_count}),
                ElementsAre(s.period_ms, s.axis_num, s.timeout_s, s.sample_num, s.skip_num, 0));
    EXPECT_EQ(r.zero_variance_check, s.zero_variance_check);
    EXPECT_EQ(r.variance_threshold, s.variance_threshold);
    for (int i = 0; i < s.axis_num; ++i) EXPECT_EQ(r.bias_threshold[i], s.bias_threshold) << i;
    EXPECT_EQ(r.in_calibrate + r.in_raw_calibrate, 0);
  }
}

struct RunTest : ::testing::Test {
  void set(int timeout_s, uint8_t zero_variance_check = 1) {
    write_settings(*phone.cal, record, {20, 3, timeout_s, 4, 10.0F, zero_variance_check, 2.0F, 1});
  }
  int run() { return run_in_mode(*phone.cal, record, &_sensor_info::in_calibrate); }

  BenchPhone phone;
  _sensor_info& record = phone.cal->motion_info[0];
  const std::vector<Event> passing = swinging(1, 5, {0.5F, 0, 10.0F}, 0.25F);
};

TEST_F(RunTest, ASilentSensorTimesOutAndIsDisabled) {
  set(1);
  record.mean[0] = 7;
  LogCapture log;
  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(run(), 1);
  const auto took = std::chrono::steady_clock::now() - before;
  EXPECT_GE(took, std::chrono::milliseconds(990));
  EXPECT_THAT(library_lines(log), ElementsAre("E Sensor Calibration timeout error"));
  EXPECT_THAT(phone.queue->disabled(), ElementsAre(100));
  // What comes after that changes nothing.
  record.in_calibrate = 1;
  for (int i = 0; i < 10; ++i) phone.queue->deliver(event(1, {float(i % 2), 0, 9.8F}));
  EXPECT_EQ(record.status, 1);
  EXPECT_EQ(record.mean[0], 7);
}

TEST_F(RunTest, ASensorThatCannotBeEnabledEndsTheRunAtOnce) {
  set(1);
  for (const bool transport : {false, true}) {
    phone.queue->enable_result = Result::BAD_VALUE;
    phone.queue->enable_transport_fails = transport;
    LogCapture log;
    EXPECT_EQ(phone.cal->cal_wait_finish(&record), 0);
    EXPECT_THAT(library_lines(log), ElementsAre("E Fail to enable sensor acc"));
  }
  EXPECT_EQ(pthread_mutex_trylock(&phone.cal->cal_mutex), 0);  // released on every way out
  pthread_mutex_unlock(&phone.cal->cal_mutex);
}

// An unread failure would end the process.
TEST_F(RunTest, ADisablingThatGetsLostChangesNoResult) {
  set(0);
  phone.queue->disable_transport_fails = true;
  EXPECT_EQ(run(), 1);
  set(20);
  phone.queue->script(100, passing);
  EXPECT_EQ(run(), 2);
  phone.queue->drain();
  EXPECT_THAT(phone.queue->disabled(), ElementsAre(100, 100));
}

TEST_F(RunTest, AnyWakeUpEndsTheWait) {
  set(60);
  std::atomic<bool> done{false};
  std::thread waker([&] {
    while (!done) {
      cal_notify_finish(phone.cal.get());
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  });
  EXPECT_EQ(phone.cal->cal_wait_finish(&record), 0);
  done = true;
  waker.join();
  EXPECT_THAT(phone.queue->disabled(), ElementsAre());
}

TEST_F(RunTest, OddPeriodsAndTimeLimitsAreDefined) {
  phone.queue->enable_result = Result::NO_INIT;
  for (const auto& [ms, us] : {std::pair(INT32_MAX, INT32_MAX), std::pair(INT32_MIN, INT32_MIN)}) {
    record.period_ms = ms;
    record.timeout_s = ms;
    EXPECT_EQ(phone.cal->cal_wait_finish(&record), 0);
    EXPECT_EQ(phone.queue->enabled().back().period_us, us);
  }
}

// A late disable would starve the next run and a late signal would end its wait: neither may happen.
TEST_F(RunTest, TenThousandRunsBackToBackAllFinish) {
  phone.queue->script(100, passing);
  set(20);
  const QuietLog quiet;
  // The queue is slow to disable now and then: a run returns when its tail is over.
  std::atomic<int> over{0};
  phone.queue->on_disable = [&] {
    if (over % 4 == 0) std::this_thread::sleep_for(std::chrono::microseconds(over % 64 == 0 ? 1000 : 5));
    ++over;
  };
  record.in_calibrate = 1;
  int runs = 0;
  while (runs < 10000 && phone.cal->cal_wait_finish(&record) == 2 && over == runs + 1) ++runs;
  EXPECT_EQ(runs, 10000);
}

// A finish that nobody waited for is still at its disable when the next run begins: it must not stop that run's sensor.
TEST_F(RunTest, ARunArmsAfterALateDisable) {
  phone.queue->script(100, passing);
  set(5);
  record.in_calibrate = 1;
  std::atomic<bool> late{false};
  phone.queue->on_disable = [&] {
    if (!late.exchange(true)) std::this_thread::sleep_for(std::chrono::milliseconds(50));
  };
  std::thread deliver([&] {
    for (const Event& e : passing) phone.queue->deliver(e);
  });
  while (!late) std::this_thread::yield();
  EXPECT_EQ(phone.cal->cal_wait_finish(&record), 2);
  deliver.join();
}

// Events that nobody asked for arrive while flows change the record.
TEST_F(RunTest, StrayEventsDoNotDisturbRuns) {
  phone.queue->script(100, passing);
  const QuietLog quiet;
  std::atomic<bool> stop{false};
  std::thread strays([&] {
    while (!stop) phone.queue->deliver(event(1, {0.75F, 0.25F, 10.25F}));
  });
  for (int i = 0; i < 200; ++i) {
    set(20, 0);
    EXPECT_EQ(run(), 2);
    EXPECT_NEAR(record.mean[0], 0.6F, 0.2F);
  }
  stop = true;
  strays.join();
}

}  // namespace
}  // namespace test
