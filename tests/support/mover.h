// A phone that is moved behind the back of the fixture and of whoever judges by it.
#pragma once

#include <host/no_direct_channels.h>

#include <atomic>
#include <string>
#include <vector>

#include "phone/core/phone.h"
#include "phone/session.h"
#include "simulator/simulated_phone.h"

namespace test {

// The world changes for a while: from the delivery of one event to that of another, counted from the plan's start.
struct Movement {
  std::string key;
  std::string moved;
  int first = 0;
  int length = 0;
};

// Stands between the sensor service and its clients and counts what is delivered, so that a movement begins and ends
// with the same event in every run of a phone.
class Mover : public host::NoDirectChannels {
  template <typename T>
  using sp = ::android::sp<T>;
  template <typename T>
  using Return = ::android::hardware::Return<T>;
  using Callback = ::android::frameworks::sensorservice::V1_0::IEventQueueCallback;
  using Queue = ::android::frameworks::sensorservice::V1_0::IEventQueue;
  using Result = ::android::frameworks::sensorservice::V1_0::Result;
  using Event = ::android::hardware::sensors::V1_0::Event;

 public:
  // For what the session's library and application listen to from now on.
  static sp<Mover> put_between(factory::Session& session, const std::vector<Movement>& movements) {
    SensorCalibration& cal = session.cal();
    const sp<Mover> mover = new Mover(session, movements);
    cal.sensor_manager = mover;
    cal.event_queue = nullptr;
    mover->createEventQueue(msensorEventCallback,
                            [&](const sp<Queue>& queue, Result /*result*/) { cal.event_queue = queue; });
    return mover;
  }

  // Ends all movements: no event will be the first or the last of one.
  void rest() { events_ = 1 << 24; }

  Return<void> getSensorList(getSensorList_cb answer) override { return service_->getSensorList(answer); }
  Return<void> getDefaultSensor(::android::hardware::sensors::V1_0::SensorType type,
                                getDefaultSensor_cb answer) override {
    return service_->getDefaultSensor(type, answer);
  }
  Return<void> createEventQueue(const sp<Callback>& client, createEventQueue_cb answer) override {
    return service_->createEventQueue(new Counter(this, client), answer);
  }

 private:
  class Counter : public Callback {
   public:
    Counter(const sp<Mover>& mover, const sp<Callback>& client) : mover_(mover), client_(client) {}
    Return<void> onEvent(const Event& event) override {
      mover_->count();
      return client_->onEvent(event);
    }

   private:
    const sp<Mover> mover_;
    const sp<Callback> client_;
  };

  Mover(factory::Session& session, const std::vector<Movement>& movements)
      : phone_(factory::phone_of(session.fixture())), movements_(movements), service_(session.cal().sensor_manager) {}

  void count() {
    const int event = ++events_;
    for (const Movement& movement : movements_) {
      if (event == movement.first) phone_.disturb(movement.key, movement.moved);
      if (event == movement.first + movement.length) phone_.disturb(movement.key, "");
    }
  }

  phone::Phone& phone_;
  const std::vector<Movement> movements_;
  const sp<::android::frameworks::sensorservice::V1_0::ISensorManager> service_;
  std::atomic<int> events_{0};
};

}  // namespace test
