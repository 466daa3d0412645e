// Many runs, and objects that come and go under live events.
#include <android/log.h>

#include "whole_phone.h"

namespace scenario {
namespace {

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
#define SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer) || __has_feature(address_sanitizer)
#define SANITIZED 1
#endif
#endif
#ifdef SANITIZED
constexpr int kRuns = 2000;
constexpr int kObjects = 30;
#else
constexpr int kRuns = 10000;
constexpr int kObjects = 200;
#endif

class QuietLog {
 public:
  QuietLog() : before_(__android_log_set_minimum_priority(ANDROID_LOG_SILENT)) {}
  ~QuietLog() { __android_log_set_minimum_priority(before_); }

 private:
  const int32_t before_;
};

TEST(Stress, BackToBackRunsAllFinish) {
  const QuietLog quiet;
  WholePhone whole;
  int finished = 0;
  for (int i = 0; i < kRuns; ++i) {
    finished += whole.cal->sensor_calibrate(kAcc.type, 0) == 0 ? 1 : 0;
    if (i % 100 == 0) whole.take_messages();
  }
  EXPECT_EQ(finished, kRuns);
  EXPECT_EQ(whole.cal->motion_info[0].status, 2);
}

// Without the hub's messages between them: the tail of one run meets the start of the next.
TEST(Stress, RunsOfOneRecordAllFinish) {
  const QuietLog quiet;
  WholePhone whole;
  ASSERT_EQ(whole.cal->sensor_calibrate(kAcc.type, 0), 0);
  _sensor_info& record = whole.cal->motion_info[0];
  record.in_calibrate = 1;
  record.sample_num = 2;
  for (int i = 0; i < kRuns; ++i) ASSERT_EQ(whole.cal->cal_wait_finish(&record), 2) << "run " << i;
}

// An object goes while its sensors deliver; the next one calibrates at once.
TEST(Stress, ObjectsUnderLiveEvents) {
  const QuietLog quiet;
  WholePhone whole;
  for (int i = 0; i < kObjects; ++i) {
    SensorCalibration object;
    for (const _sensor_info& info : object.motion_info) {
      if (info.present != 0) object.event_queue->enableSensor(info.info.sensorHandle, 2500, 0);
    }
    if (i % 3 == 0) std::this_thread::yield();
    if (i % 2 == 0) {
      // Replaced while it lives: the newest object has the events.
      SensorCalibration newest;
      EXPECT_EQ(newest.sensor_calibrate(kInertial[i / 2 % 4].type, 0), 0);
      newest.sensor_cal_deinit();
    }
    object.sensor_cal_deinit();
  }
}

TEST(Stress, SeveralQueuesOnOneSensor) {
  const QuietLog quiet;
  WholePhone whole;
  for (int i = 0; i < 20; ++i) {
    Client fast;
    Client slow;
    fast.enable(kAcc.type, 5000);
    slow.enable(kAcc.type, 100000);
    EXPECT_EQ(whole.cal->sensor_calibrate(kAcc.type, 0), 0);
    EXPECT_EQ(whole.cal->motion_info[0].event_count, 53);
    EXPECT_GE(slow.listener->wait_for(1).size(), 1U);
    fast.queue = nullptr;
    slow.queue = nullptr;
  }
}

}  // namespace
}  // namespace scenario
