// Many runs, and objects that come and go under live events.
#include "load.h"
#include "whole_phone.h"

namespace stress {
namespace {

using scenario::kAcc;
using scenario::kInertial;
using scenario::WholePhone;

// An object goes while its sensors deliver; the next one calibrates at once.
TEST(Stress, ObjectsUnderLiveEvents) {
  const QuietLog quiet;
  WholePhone whole;
  const size_t objects = load(2000);
  for (size_t i = 0; i < objects; ++i) {
    SensorCalibration object;
    for (const _sensor_info& info : object.motion_info) {
      if (info.present != 0) (void)object.event_queue->enableSensor(info.info.sensorHandle, 2500, 0).isOk();
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

}  // namespace
}  // namespace stress
