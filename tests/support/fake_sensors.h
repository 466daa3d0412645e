// A sensor manager whose events a test writes itself.
#pragma once

#include <host/no_direct_channels.h>
#include <host/service_registry.h>

#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "sensor_list.h"

namespace test {

using ::android::frameworks::sensorservice::V1_0::IEventQueue;
using ::android::frameworks::sensorservice::V1_0::IEventQueueCallback;
using ::android::frameworks::sensorservice::V1_0::ISensorManager;
using ::android::frameworks::sensorservice::V1_0::Result;
using ::android::hardware::sensors::V1_0::Event;

Event event(int type, std::vector<float> data);

struct Enabling {
  int handle;
  int period_us;
  int64_t latency_us;
  bool operator==(const Enabling&) const = default;
};

// Delivers a sensor's script from a thread of its own, started by enableSensor and left to run to the script's end or
// to disableSensor.
class FakeQueue : public IEventQueue {
 public:
  explicit FakeQueue(const ::android::sp<IEventQueueCallback>& callback);
  ~FakeQueue() override;

  // What the sensor delivers after each enabling.
  void script(int handle, std::vector<Event> events);
  std::vector<Enabling> enabled() const;
  std::vector<int> disabled() const;
  // Delivers one event on the calling thread.
  void deliver(const Event& event);
  // Waits until no script is being delivered.
  void drain();

  Result enable_result = Result::OK;
  bool enable_transport_fails = false;
  bool disable_transport_fails = false;
  // Called at the start of disableSensor, before the sensor stops.
  std::function<void()> on_disable;

  ::android::hardware::Return<Result> enableSensor(int32_t sensorHandle, int32_t samplingPeriodUs,
                                                   int64_t maxBatchReportLatencyUs) override;
  ::android::hardware::Return<Result> disableSensor(int32_t sensorHandle) override;

 private:
  void run();

  const ::android::sp<IEventQueueCallback> callback_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::map<int, std::vector<Event>> scripts_;  // guarded by mutex_, and so are the following
  std::vector<Enabling> enabled_;
  std::vector<int> disabled_;
  int active_ = -1;  // handle being delivered
  int turn_ = 0;     // counts enablings: one that comes while the last event is under way starts the script anew
  bool stop_ = false;
  bool delivering_ = false;
  std::thread thread_;
};

class FakeSensors : public host::NoDirectChannels {
 public:
  static ::android::sp<FakeSensors> install(std::vector<SensorInfo> list);
  static void remove();

  std::vector<SensorInfo> list;
  Result list_result = Result::OK;
  Result queue_result = Result::OK;
  bool never_answers = false;
  ::android::sp<FakeQueue> queue;  // the newest one
  virtual ::android::sp<IEventQueue> make_queue(const ::android::sp<IEventQueueCallback>& callback) {
    return queue = new FakeQueue(callback);
  }

  ::android::hardware::Return<void> getSensorList(getSensorList_cb _hidl_cb) override;
  ::android::hardware::Return<void> getDefaultSensor(SensorType type, getDefaultSensor_cb _hidl_cb) override;
  ::android::hardware::Return<void> createEventQueue(const ::android::sp<IEventQueueCallback>& callback,
                                                     createEventQueue_cb _hidl_cb) override;
};

}  // namespace test
