#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>

#include "bench_phone.h"
#include "engine/run.h"
#include "log_capture.h"

namespace {

using test::BenchPhone;
using test::Enabling;
using test::event;
using test::LogCapture;
using test::Result;
using test::swinging;
using ::testing::ElementsAre;

constexpr RunSettings kShort = {20, 3, 1, 4, 10.0F, 1, 2.0F, 1};

TEST(RunTest, AFinishedRunReturnsItsMeanAndDisablesTheSensor) {
  BenchPhone phone;
  _sensor_info& record = phone.cal->motion_info[0];
  phone.queue->script(100, swinging(1, 20, {0.5F, 0, 10.0F}, 0.25F));
  write_settings(*phone.cal, record, kShort);
  record.status = 1;
  record.sample_count = 3;
  EXPECT_EQ(run_in_mode(*phone.cal, record, &_sensor_info::in_calibrate), 2);
  EXPECT_FLOAT_EQ(record.mean[0], 0.5F);
  EXPECT_EQ(record.in_calibrate, 0);
  EXPECT_EQ(record.event_count, 5);
  EXPECT_THAT(phone.queue->enabled(), ElementsAre(Enabling{100, 20000, 0}));
  EXPECT_THAT(phone.queue->disabled(), ElementsAre(100));
}

TEST(RunTest, ASilentSensorTimesOutAndIsDisabled) {
  BenchPhone phone;
  _sensor_info& record = phone.cal->motion_info[0];
  write_settings(*phone.cal, record, kShort);
  record.mean[0] = 7;
  LogCapture log;
  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(run_in_mode(*phone.cal, record, &_sensor_info::in_calibrate), 1);
  const auto took = std::chrono::steady_clock::now() - before;
  EXPECT_GE(took, std::chrono::milliseconds(990));
  EXPECT_THAT(log.all(), ElementsAre("E/libsensor_cal: Sensor Calibration timeout error"));
  EXPECT_THAT(phone.queue->disabled(), ElementsAre(100));
  // What comes after that changes nothing.
  record.in_calibrate = 1;
  for (int i = 0; i < 10; ++i) phone.queue->deliver(event(1, {float(i % 2), 0, 9.8F}));
  EXPECT_EQ(record.status, 1);
  EXPECT_EQ(record.mean[0], 7);
}

TEST(RunTest, ASensorThatCannotBeEnabledEndsTheRunAtOnce) {
  BenchPhone phone;
  _sensor_info& record = phone.cal->motion_info[0];
  write_settings(*phone.cal, record, kShort);
  for (const bool transport : {false, true}) {
    phone.queue->enable_result = Result::BAD_VALUE;
    phone.queue->enable_transport_fails = transport;
    LogCapture log;
    EXPECT_EQ(phone.cal->cal_wait_finish(&record), 0);
    EXPECT_THAT(log.all(), ElementsAre("E/libsensor_cal: Fail to enable sensor acc"));
  }
  EXPECT_EQ(pthread_mutex_trylock(&phone.cal->cal_mutex), 0);  // released on every way out
  pthread_mutex_unlock(&phone.cal->cal_mutex);
}

TEST(RunTest, AnyWakeUpEndsTheWait) {
  BenchPhone phone;
  _sensor_info& record = phone.cal->motion_info[0];
  RunSettings settings = kShort;
  settings.timeout_s = 60;
  write_settings(*phone.cal, record, settings);
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

TEST(RunTest, OddPeriodsAndTimeLimitsAreDefined) {
  BenchPhone phone;
  _sensor_info& record = phone.cal->motion_info[0];
  phone.queue->enable_result = Result::NO_INIT;
  for (const auto& [ms, us] : {std::pair(INT32_MAX, INT32_MAX), std::pair(INT32_MIN, INT32_MIN)}) {
    record.period_ms = ms;
    record.timeout_s = ms;
    EXPECT_EQ(phone.cal->cal_wait_finish(&record), 0);
    EXPECT_EQ(phone.queue->enabled().back().period_us, us);
  }
}

// A late disable would starve the next run and a late signal would end its wait: neither may happen.
TEST(RunTest, TenThousandRunsBackToBackAllFinish) {
  BenchPhone phone;
  _sensor_info& record = phone.cal->motion_info[0];
  phone.queue->script(100, swinging(1, 5, {0.5F, 0, 10.0F}, 0.25F));
  const int32_t quiet = __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
  int finished = 0;
  for (int i = 0; i < 10000; ++i) {
    write_settings(*phone.cal, record, {20, 3, 20, 4, 10.0F, 1, 2.0F, 1});
    if (run_in_mode(*phone.cal, record, &_sensor_info::in_calibrate) == 2) ++finished;
  }
  __android_log_set_minimum_priority(quiet);
  EXPECT_EQ(finished, 10000);
}

// Events that nobody asked for arrive while flows change the record.
TEST(RunTest, StrayEventsDoNotDisturbRuns) {
  BenchPhone phone;
  _sensor_info& record = phone.cal->motion_info[0];
  phone.queue->script(100, swinging(1, 5, {0.5F, 0, 10.0F}, 0.25F));
  const int32_t quiet = __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
  std::atomic<bool> stop{false};
  std::thread strays([&] {
    while (!stop) phone.queue->deliver(event(1, {0.75F, 0.25F, 10.25F}));
  });
  for (int i = 0; i < 200; ++i) {
    write_settings(*phone.cal, record, {20, 3, 20, 4, 10.0F, 0, 2.0F, 1});
    EXPECT_EQ(run_in_mode(*phone.cal, record, &_sensor_info::in_calibrate), 2);
    EXPECT_NEAR(record.mean[0], 0.6F, 0.2F);
  }
  stop = true;
  strays.join();
  __android_log_set_minimum_priority(quiet);
}

}  // namespace
