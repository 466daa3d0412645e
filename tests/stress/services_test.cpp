// Services, objects and phones that come and go under an application that keeps trying.
#include <host/service_registry.h>

#include <atomic>
#include <iostream>

#include "load.h"
#include "whole_phone.h"

namespace stress {
namespace {

using phone_test::options;
using scenario::kAcc;

using SensorService = ::android::frameworks::sensorservice::V1_0::ISensorManager;
using TestService = ::vendor::corvane::sensor::kestsensorservice::V1_1::IKestSensorService;
constexpr char kInstance[] = "default";

// Takes both services out of the list and puts them back, over and over.
class Flapping {
 public:
  Flapping() : sensors_(SensorService::getService(kInstance)), test_(TestService::getService(kInstance)) {
    thread_ = std::thread([this] {
      for (unsigned i = 0; !stop_; ++i) {
        if (i % 2 == 0) host::remove_service(SensorService::descriptor, kInstance);
        if (i % 3 == 0) host::remove_service(TestService::descriptor, kInstance);
        std::this_thread::sleep_for(std::chrono::microseconds(50 + i % 7 * 30));
        sensors_->registerAsService(kInstance);
        test_->registerAsService(kInstance);
        std::this_thread::sleep_for(std::chrono::microseconds(100));
      }
    });
  }
  ~Flapping() {
    stop_ = true;
    thread_.join();
  }

 private:
  ::android::sp<SensorService> sensors_;
  ::android::sp<TestService> test_;
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

TEST(StressServices, ObjectsWorkOrSayThatTheyCannot) {
  const QuietLog quiet;
  const auto phone = phone::Phone::open(options());
  size_t ready = 0;
  size_t refused = 0;
  size_t lost = 0;
  {
    const Flapping flapping;
    for (const size_t wanted = load(20000); ready + lost < wanted;) {
      SensorCalibration object;
      if (object.initCheck() != 0) {
        ++refused;
        std::this_thread::sleep_for(std::chrono::microseconds(20));
      } else {
        // The hub is looked up anew for each message: one may be lost, but never a sample.
        const int result = object.sensor_calibrate(kAcc.type, 0);
        ASSERT_TRUE(result == 0 || result == -1) << result;
        ASSERT_EQ(object.motion_info[0].status, 2);
        ++(result == 0 ? ready : lost);
      }
      object.sensor_cal_deinit();
    }
  }
  EXPECT_GT(ready, 0U);
  EXPECT_GT(refused, 0U);
  SensorCalibration object;
  ASSERT_EQ(object.initCheck(), 0);
  EXPECT_EQ(object.sensor_calibrate(kAcc.type, 0), 0);
  object.sensor_cal_deinit();
  std::cout << ready << " calibrated, " << lost << " lost a message, " << refused << " were refused\n";
}

// Objects and phones, services and all, go while sensors deliver to them and to others.
TEST(StressServices, ObjectsAndPhonesGoUnderLiveEvents) {
  const QuietLog quiet;
  for (size_t i = 0; i < load(2000); ++i) {
    auto phone = phone::Phone::open(options());
    auto object = std::make_unique<SensorCalibration>();
    phone_test::Client client;
    client.enable(kAcc.type, 2500);
    for (const _sensor_info& info : object->motion_info) {
      if (info.present != 0) (void)object->event_queue->enableSensor(info.info.sensorHandle, 2500, 0).isOk();
    }
    if (i % 2 == 0) client.listener->wait_for(1);
    if (i % 4 < 2) {
      // Replaced while it lives: the newest object has the events.
      SensorCalibration newest;
      EXPECT_EQ(newest.sensor_calibrate(scenario::kInertial[i / 4 % 4].type, 0), 0);
      newest.sensor_cal_deinit();
    } else {
      phone.reset();
      const size_t events = client.listener->events().size();
      EXPECT_NE(object->sensor_calibrate(kAcc.type, 0), 0);
      EXPECT_EQ(client.listener->events().size(), events);
    }
    object->sensor_cal_deinit();
    object.reset();
  }
}

}  // namespace
}  // namespace stress
