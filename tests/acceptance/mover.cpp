#include "mover.h"

#include <atomic>
#include <mutex>

#include "phone/core/phone.h"
#include "simulator/simulated_phone.h"

namespace acceptance {
namespace {

using ::android::sp;
using ::android::frameworks::sensorservice::V1_0::IEventQueue;
using ::android::frameworks::sensorservice::V1_0::IEventQueueCallback;
using ::android::frameworks::sensorservice::V1_0::ISensorManager;
using ::android::frameworks::sensorservice::V1_0::Result;
using ::android::hardware::Return;
using ::android::hardware::sensors::V1_0::Event;
using ::android::hardware::sensors::V1_0::SensorType;

}  // namespace

class EventCounter {
 public:
  EventCounter(factory::Session& session, const std::vector<Movement>& movements)
      : phone_(factory::phone_of(session.fixture())), movements_(movements) {}

  void count() {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++events_;
    if (resting_) return;
    for (const Movement& movement : movements_) {
      if (events_ == movement.first) phone_.disturb(movement.key, movement.moved);
      if (events_ == movement.first + movement.length) phone_.disturb(movement.key, "");
    }
  }
  void rest() {
    const std::lock_guard<std::mutex> lock(mutex_);
    resting_ = true;
  }

 private:
  phone::Phone& phone_;
  const std::vector<Movement> movements_;
  std::mutex mutex_;
  int events_ = 0;        // guarded by mutex_
  bool resting_ = false;  // guarded by mutex_
};

namespace {

class CountingCallback : public IEventQueueCallback {
 public:
  CountingCallback(std::shared_ptr<EventCounter> counter, const sp<IEventQueueCallback>& client)
      : counter_(std::move(counter)), client_(client) {}
  Return<void> onEvent(const Event& event) override {
    counter_->count();
    return client_->onEvent(event);
  }

 private:
  const std::shared_ptr<EventCounter> counter_;
  const sp<IEventQueueCallback> client_;
};

class CountingManager : public host::NoDirectChannels {
 public:
  CountingManager(std::shared_ptr<EventCounter> counter, const sp<ISensorManager>& service)
      : counter_(std::move(counter)), service_(service) {}
  Return<void> getSensorList(getSensorList_cb answer) override { return service_->getSensorList(answer); }
  Return<void> getDefaultSensor(SensorType type, getDefaultSensor_cb answer) override {
    return service_->getDefaultSensor(type, answer);
  }
  Return<void> createEventQueue(const sp<IEventQueueCallback>& client, createEventQueue_cb answer) override {
    return service_->createEventQueue(new CountingCallback(counter_, client), answer);
  }

 private:
  const std::shared_ptr<EventCounter> counter_;
  const sp<ISensorManager> service_;
};

}  // namespace

Mover::Mover(factory::Session& session, const std::vector<Movement>& movements)
    : counter_(std::make_shared<EventCounter>(session, movements)) {
  SensorCalibration& cal = session.cal();
  cal.sensor_manager = new CountingManager(counter_, cal.sensor_manager);
  cal.event_queue = nullptr;
  cal.sensor_manager->createEventQueue(msensorEventCallback, [&](const sp<IEventQueue>& queue, Result result) {
    if (result == Result::OK) cal.event_queue = queue;
  });
}

Mover::~Mover() { rest(); }

void Mover::rest() { counter_->rest(); }

}  // namespace acceptance
