#include "phone/faults/hub_link_faults.h"

#include <host/service_registry.h>

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
  return faults.find(FaultId::hub_vanish) != nullptr || faults.find(FaultId::hub_fail) != nullptr;
}

Return<void> FaultyHubLink::send_ssc_oem_test_msg(const Message& msg, send_ssc_oem_test_msg_cb _hidl_cb) {
  const int messages_before = messages_++;
  const Fault* const vanish = faults_->find(FaultId::hub_vanish);
  if (vanish != nullptr && messages_before >= static_cast<int>(vanish->amount)) {
    if (host::find_service(descriptor, "default") == this) host::remove_service(descriptor, "default");
    return Status::fromStatusT(::android::DEAD_OBJECT);
  }
  for (const Fault* fault : faults_->each(FaultId::hub_fail)) {
    if (fault->code == msg.msg_type) return Status::fromStatusT(::android::FAILED_TRANSACTION);
  }
  return service_->send_ssc_oem_test_msg(msg, std::move(_hidl_cb));
}

}  // namespace phone
