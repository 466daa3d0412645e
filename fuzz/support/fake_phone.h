// The two services as a script wants them, without threads: events are delivered while the library waits.
#pragma once

#include <SensorCalibration.h>

#include <set>

#include "fake_hub.h"
#include "fake_sensors.h"
#include "support/checks.h"

namespace fuzz {

using ::android::sp;
using ::android::hardware::Return;
using test::Event;
using test::Message;
using test::Result;
using test::SensorInfo;
using test::SensorType;

// Every request must carry a known code and zeros in the words that its code does not use.
struct ScriptedHub : test::FakeHub {
  std::function<bool(Message* reply)> script;  // false: the transport fails
  bool answer(const Message& request, Message* reply) override;
};

struct ScriptedQueue : test::IEventQueue {
  std::function<Return<Result>()> on_enable;
  std::set<int> enabled;
  int disablings = 0;

  Return<Result> enableSensor(int32_t sensorHandle, int32_t samplingPeriodUs, int64_t latency_us) override;
  Return<Result> disableSensor(int32_t sensorHandle) override;
};

struct ScriptedSensors : test::FakeSensors {
  sp<ScriptedQueue> script = new ScriptedQueue;
  sp<test::IEventQueueCallback> callback;  // the newest

  sp<test::IEventQueue> make_queue(const sp<test::IEventQueueCallback>& newest) override {
    callback = newest;
    return script;
  }
};

}  // namespace fuzz
