#include "phone/hub/test_service.h"

#include <algorithm>
#include <iterator>
#include <thread>

namespace phone {
namespace {

using ::android::hardware::Status;

int64_t realtime_ns() {
  const auto since_1970 = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::nanoseconds>(since_1970).count();
}

void copy_words(const HubRecord& record, int32_t* out) {
  *out++ = record.sensor_type;
  *out++ = record.msg_type;
  std::copy(record.words.begin(), record.words.end(), out);
}

}  // namespace

TestService::TestService(Hub* hub, const ServiceFaults* faults) : hub_(hub), faults_(faults) {}

void TestService::on_exchange(Listener listener) {
  const std::lock_guard<std::mutex> lock(mutex_);
  listener_ = std::move(listener);
}

void TestService::disconnect() {
  std::unique_lock<std::mutex> lock(mutex_);
  connected_ = false;
  left_.wait(lock, [this] { return calls_under_way_ == 0; });
}

::android::hardware::Return<void> TestService::send_ssc_oem_test_msg(const HubMessage& msg,
                                                                     send_ssc_oem_test_msg_cb _hidl_cb) {
  Listener listener;
  if (!enter(&listener)) return Status::fromStatusT(::android::DEAD_OBJECT);
  const HubRecord request = decode(msg);
  HubRecord reply;
  HubExchange exchanged;
  exchanged.time_ns = realtime_ns();
  exchanged.answered = exchange(request, &reply, &exchanged.note);
  copy_words(request, exchanged.request);
  if (exchanged.answered) copy_words(reply, exchanged.reply);
  if (listener) listener(exchanged);
  leave();
  if (!exchanged.answered) return Status::fromStatusT(::android::FAILED_TRANSACTION);
  _hidl_cb(encode(reply));
  return ::android::hardware::Void();
}

bool TestService::exchange(const HubRecord& request, HubRecord* reply, std::string* note) const {
  if (faults_ != nullptr) {
    std::this_thread::sleep_for(faults_->delay());
    if (faults_->transport_fails()) return false;
  }
  *reply = hub_->handle(request, note);
  if (faults_ != nullptr) faults_->apply(reply);
  return true;
}

bool TestService::enter(Listener* listener) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!connected_) return false;
  ++calls_under_way_;
  *listener = listener_;
  return true;
}

void TestService::leave() {
  const std::lock_guard<std::mutex> lock(mutex_);
  --calls_under_way_;
  left_.notify_all();
}

}  // namespace phone
