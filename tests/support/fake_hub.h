// A test service that keeps every message and answers as a test tells it to.
#pragma once

#include <host/service_registry.h>
#include <string.h>
#include <vendor/corvane/sensor/kestsensorservice/1.1/IKestSensorService.h>

#include <array>
#include <bit>
#include <functional>
#include <map>
#include <mutex>
#include <vector>

namespace test {

using ::vendor::corvane::sensor::kestsensorservice::V1_1::IKestSensorService;
using ::vendor::corvane::sensor::kestsensorservice::V1_1::ssc_oem_test_msg;

inline int32_t bits(float value) { return std::bit_cast<int32_t>(value); }

// The 72 bytes as 18 words: sensor_type, msg_type, data words 0 to 15. Floats appear as bits().
using Message = std::array<int32_t, 18>;

// message(1, 0, {bits(0.5f)}): the words not given are zero.
inline Message message(int32_t sensor_type, int32_t msg_type, std::vector<int32_t> words = {}) {
  Message out{};
  out[0] = sensor_type;
  out[1] = msg_type;
  for (size_t i = 0; i < words.size(); ++i) out[2 + i] = words[i];
  return out;
}

class FakeHub : public IKestSensorService {
 public:
  // Answers requests of one code; the reply starts as sensor_type and msg_type of the request with all words zero.
  using Answer = std::function<void(const Message& request, Message* reply)>;

  static ::android::sp<FakeHub> install() {
    const ::android::sp<FakeHub> hub = new FakeHub;
    hub->registerAsService("default");
    return hub;
  }
  static void remove() { host::remove_service(descriptor, "default"); }

  // What it answers; false: the transport fails, and the call returns without calling back.
  virtual bool answer(const Message& request, Message* reply) {
    const auto found = answers_.find(request[1]);
    if (!transport_fails && found != answers_.end()) found->second(request, reply);
    return !transport_fails;
  }

  void on(int32_t code, Answer answer) { answers_[code] = std::move(answer); }
  // Answers the code with these words, as they are.
  void reply(int32_t code, std::vector<int32_t> words) {
    on(code, [words](const Message&, Message* out) {
      for (size_t i = 0; i < words.size(); ++i) (*out)[2 + i] = words[i];
    });
  }

  bool transport_fails = false;

  std::vector<Message> sent() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return sent_;
  }
  void forget() {
    const std::lock_guard<std::mutex> lock(mutex_);
    sent_.clear();
  }

  ::android::hardware::Return<void> send_ssc_oem_test_msg(const ssc_oem_test_msg& msg,
                                                          send_ssc_oem_test_msg_cb _hidl_cb) override {
    Message request;
    memcpy(request.data(), &msg, sizeof msg);
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      sent_.push_back(request);
    }
    Message reply = message(request[0], request[1]);
    if (!answer(request, &reply)) {
      return ::android::hardware::Status::fromExceptionCode(::android::hardware::Status::EX_TRANSACTION_FAILED);
    }
    ssc_oem_test_msg out;
    memcpy(&out, reply.data(), sizeof out);
    _hidl_cb(out);
    return ::android::hardware::Void();
  }

 private:
  mutable std::mutex mutex_;
  std::vector<Message> sent_;  // guarded by mutex_
  std::map<int32_t, Answer> answers_;
};

}  // namespace test
