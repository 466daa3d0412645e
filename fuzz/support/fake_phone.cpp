#include "support/fake_phone.h"

#include <algorithm>
#include <bit>

namespace fuzz {

using ::android::hardware::Status;
using ::android::hardware::Void;

namespace {

// How many words a request of the code may use. "*" stands for as many elements as word 0 counts.
int used_words(const char* request_words, const ssc_oem_test_msg& request) {
  const std::string words = request_words;
  if (words.empty() || words.back() != '*') return static_cast<int>(words.size());
  return 1 + static_cast<int>(std::clamp(std::bit_cast<float>(request.data[0]), 0.0F, 15.0F));
}

}  // namespace

void check_request(const ssc_oem_test_msg& request) {
  const auto* row = std::find_if(std::begin(oem_test_msg::kCodes), std::end(oem_test_msg::kCodes),
                                 [&](const oem_test_msg::CodeRow& r) { return r.code == request.msg_type; });
  HOLDS(row != std::end(oem_test_msg::kCodes));
  for (int i = used_words(row->request_words, request); i < oem_test_msg::kWords; ++i) {
    HOLDS(request.data[static_cast<size_t>(i)] == 0);
  }
}

Return<void> ScriptedHub::send_ssc_oem_test_msg(const ssc_oem_test_msg& msg, send_ssc_oem_test_msg_cb _hidl_cb) {
  check_request(msg);
  sent.push_back(msg);
  ssc_oem_test_msg reply{};
  if (!answer(msg, &reply)) return Status::fromExceptionCode(Status::EX_TRANSACTION_FAILED);
  _hidl_cb(reply);
  return Void();
}

Return<Result> ScriptedQueue::enableSensor(int32_t sensorHandle, int32_t samplingPeriodUs, int64_t latency_us) {
  HOLDS(latency_us == 0);
  Return<Result> result = on_enable(sensorHandle, samplingPeriodUs);
  if (result.isOk() && result == Result::OK) enabled.insert(sensorHandle);
  return result;
}

Return<Result> ScriptedQueue::disableSensor(int32_t sensorHandle) {
  ++disablings;
  return enabled.erase(sensorHandle) == 0 ? Result::INVALID_OPERATION : Result::OK;
}

Return<void> ScriptedSensors::getSensorList(getSensorList_cb _hidl_cb) {
  if (!answers) return Status::fromExceptionCode(Status::EX_TRANSACTION_FAILED);
  _hidl_cb(list, list_result);
  return Void();
}

Return<void> ScriptedSensors::getDefaultSensor(SensorType type, getDefaultSensor_cb _hidl_cb) {
  if (!answers) return Status::fromExceptionCode(Status::EX_TRANSACTION_FAILED);
  const auto found = std::find_if(list.begin(), list.end(), [&](const SensorInfo& s) { return s.type == type; });
  _hidl_cb(found == list.end() ? SensorInfo{} : *found, found == list.end() ? Result::NOT_EXIST : Result::OK);
  return Void();
}

Return<void> ScriptedSensors::createEventQueue(const ::android::sp<IEventQueueCallback>& new_callback,
                                               createEventQueue_cb _hidl_cb) {
  if (!answers) return Status::fromExceptionCode(Status::EX_TRANSACTION_FAILED);
  callback = new_callback;
  _hidl_cb(queue_result == Result::OK ? queue.get() : nullptr, queue_result);
  return Void();
}

}  // namespace fuzz
