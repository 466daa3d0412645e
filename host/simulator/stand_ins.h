// What a recorded or replayed run sees in place of the phone's services: every call goes over the tape's deck. Without
// a real service behind them the answers are the recorded ones.
#pragma once

#include <host/no_direct_channels.h>
#include <vendor/corvane/sensor/kestsensorservice/1.1/IKestSensorService.h>

#include <functional>
#include <mutex>

#include "phone/fixture.h"
#include "simulator/tape.h"

namespace factory::tape {

using ::android::frameworks::sensorservice::V1_0::IEventQueue;
using ::android::frameworks::sensorservice::V1_0::ISensorManager;
using ::vendor::corvane::sensor::kestsensorservice::V1_1::IKestSensorService;

class ManagerStandIn : public host::NoDirectChannels {
 public:
  // `real` may be null. The deck must live until nobody calls any more.
  ManagerStandIn(Deck& deck, ::android::sp<ISensorManager> real) : deck_(deck), real_(std::move(real)) {}

  ::android::hardware::Return<void> getSensorList(getSensorList_cb _hidl_cb) override;
  ::android::hardware::Return<void> getDefaultSensor(::android::hardware::sensors::V1_0::SensorType type,
                                                     getDefaultSensor_cb _hidl_cb) override;
  ::android::hardware::Return<void> createEventQueue(const ::android::sp<IEventQueueCallback>& callback,
                                                     createEventQueue_cb _hidl_cb) override;

 private:
  Deck& deck_;
  const ::android::sp<ISensorManager> real_;
};

// The messages of a hub call as the fixture tells of them.
class HubMessages {
 public:
  void listen(std::function<void(const HubMessage&)> listener);
  void tell(const HubMessage& message);
  // Tells of a message while its call is under way, and keeps it for the tape.
  void take(const HubMessage& message);
  static Json::Value taken();  // on the thread that called take()

 private:
  std::mutex mutex_;
  std::function<void(const HubMessage&)> listener_;  // guarded by mutex_
};

class HubStandIn : public IKestSensorService {
 public:
  HubStandIn(Deck& deck, HubMessages& messages, ::android::sp<IKestSensorService> real)
      : deck_(deck), messages_(messages), real_(std::move(real)) {}

  ::android::hardware::Return<void> send_ssc_oem_test_msg(
      const ::vendor::corvane::sensor::kestsensorservice::V1_1::ssc_oem_test_msg& msg,
      send_ssc_oem_test_msg_cb _hidl_cb) override;

 private:
  Deck& deck_;
  HubMessages& messages_;
  const ::android::sp<IKestSensorService> real_;
};

// The fixture around the phone.
class FixtureStandIn : public Fixture {
 public:
  // `real` is null in a replay, where the device root is `root`.
  FixtureStandIn(std::unique_ptr<Fixture> real, std::unique_ptr<Deck> deck, std::string root);
  ~FixtureStandIn() override;

  std::string device_root() const override { return root_; }
  Chronicle& chronicle() override { return *deck_; }
  std::vector<std::pair<std::string, std::string>> facts() const override;
  std::vector<std::string> remarks() const override;
  std::map<std::string, std::string> world() const override;
  std::string set_world(const std::string& key, const std::string& value) override;
  Arranged arrange(const Settings& settings) override;
  std::vector<float> truth(int sensor_type) const override;
  Json::Value hub_state() const override;
  void on_hub_message(std::function<void(const HubMessage&)> listener) override;
  void reboot() override;
  void factory_reset() override;

 private:
  ::android::sp<::android::hidl::base::V1_0::IBase> find(
      const std::string& descriptor, const ::android::sp<::android::hidl::base::V1_0::IBase>& found);

  const std::unique_ptr<Fixture> real_;
  const std::unique_ptr<Deck> deck_;
  const std::string root_;
  HubMessages messages_;
  std::mutex mutex_;
  // By the real service, or null; guarded by mutex_.
  std::map<const void*, ::android::sp<::android::hidl::base::V1_0::IBase>> stand_ins_;
};

}  // namespace factory::tape
