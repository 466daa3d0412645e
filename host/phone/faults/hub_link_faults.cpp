#include "phone/faults/hub_link_faults.h"

#include <host/service_registry.h>
#include <string.h>

#include <algorithm>
#include <chrono>

namespace phone {
namespace {

using ::android::hardware::Return;
using ::android::hardware::Status;

constexpr int kEveryCode = -1;

}  // namespace

void set_service_faults(const Faults& faults, ServiceFaults* out) {
  if (const Fault* const slow = faults.find(FaultId::hub_slow)) {
    out->set_delay(std::chrono::milliseconds(static_cast<int64_t>(slow->amount)));
  }
  for (const Fault* fault : faults.each(FaultId::hub_word)) out->force_reply(fault->code, fault->word, fault->bits);
  for (const Fault* fault : faults.each(FaultId::hub_fail)) {
    if (fault->code == kEveryCode) out->set_fail_transport(true);
  }
}

bool needs_faulty_link(const Faults& faults) {
  return faults.find(FaultId::hub_vanish) != nullptr || faults.find(FaultId::hub_dead) != nullptr ||
         faults.find(FaultId::hub_fail) != nullptr;
}

void FaultyHubLink::on_lost(Listener listener) {
  const std::lock_guard<std::mutex> lock(mutex_);
  listener_ = std::move(listener);
}

bool FaultyHubLink::loses(const Message& msg, Status* status) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (faults_->is_over({FaultId::hub_vanish, FaultId::hub_dead}, messages_++)) {
    if (host::find_service(descriptor, "default") == this) host::remove_service(descriptor, "default");
    *status = Status::fromStatusT(::android::DEAD_OBJECT);
    return true;
  }
  const std::vector<const Fault*> failing = faults_->each(FaultId::hub_fail);
  *status = Status::fromStatusT(::android::FAILED_TRANSACTION);
  return std::any_of(failing.begin(), failing.end(), [&](const Fault* f) { return f->code == msg.msg_type; });
}

Return<void> FaultyHubLink::send_ssc_oem_test_msg(const Message& msg, send_ssc_oem_test_msg_cb _hidl_cb) {
  Status status;
  if (!loses(msg, &status)) return service_->send_ssc_oem_test_msg(msg, std::move(_hidl_cb));
  HubExchange lost;
  lost.time_ns =
      std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::system_clock::now().time_since_epoch()).count();
  memcpy(lost.request, &msg, sizeof lost.request);
  Listener listener;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    listener = listener_;
  }
  if (listener) listener(lost);
  return status;
}

}  // namespace phone
