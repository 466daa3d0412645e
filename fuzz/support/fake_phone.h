// The two services as a script wants them, without threads: events are delivered while the library waits.
#pragma once

#include <SensorCalibration.h>
#include <host/no_direct_channels.h>
#include <host/service_registry.h>

#include <array>
#include <functional>
#include <set>
#include <vector>

#include "sensor_list.h"
#include "support/checks.h"

namespace fuzz {

using ::android::frameworks::sensorservice::V1_0::IEventQueue;
using ::android::frameworks::sensorservice::V1_0::IEventQueueCallback;
using ::android::frameworks::sensorservice::V1_0::ISensorManager;
using ::android::frameworks::sensorservice::V1_0::Result;
using ::android::hardware::Return;
using ::android::hardware::sensors::V1_0::Event;
using ::android::hardware::sensors::V1_0::SensorInfo;
using ::android::hardware::sensors::V1_0::SensorType;
using ::vendor::corvane::sensor::kestsensorservice::V1_1::IKestSensorService;
using ::vendor::corvane::sensor::kestsensorservice::V1_1::ssc_oem_test_msg;

// Every request must carry a known code and zeros in the words that its code does not use.
void check_request(const ssc_oem_test_msg& request);

struct ScriptedHub : IKestSensorService {
  // False: the transport fails, nothing is called back.
  std::function<bool(const ssc_oem_test_msg& request, ssc_oem_test_msg* reply)> answer;
  std::vector<ssc_oem_test_msg> sent;

  Return<void> send_ssc_oem_test_msg(const ssc_oem_test_msg& msg, send_ssc_oem_test_msg_cb _hidl_cb) override;
};

struct ScriptedQueue : IEventQueue {
  // What enabling answers; a transport failure where it throws no result.
  std::function<Return<Result>(int handle, int period_us)> on_enable;
  std::set<int> enabled;
  int disablings = 0;

  Return<Result> enableSensor(int32_t sensorHandle, int32_t samplingPeriodUs, int64_t latency_us) override;
  Return<Result> disableSensor(int32_t sensorHandle) override;
};

struct ScriptedSensors : host::NoDirectChannels {
  std::vector<SensorInfo> list;
  Result list_result = Result::OK;
  Result queue_result = Result::OK;
  bool answers = true;
  ::android::sp<ScriptedQueue> queue = new ScriptedQueue;
  ::android::sp<IEventQueueCallback> callback;  // the newest

  Return<void> getSensorList(getSensorList_cb _hidl_cb) override;
  Return<void> getDefaultSensor(SensorType type, getDefaultSensor_cb _hidl_cb) override;
  Return<void> createEventQueue(const ::android::sp<IEventQueueCallback>& new_callback,
                                createEventQueue_cb _hidl_cb) override;
};

}  // namespace fuzz
