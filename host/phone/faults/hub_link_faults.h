// A test service that loses what the faults say, in front of the real one.
#pragma once

#include <vendor/corvane/sensor/kestsensorservice/1.1/IKestSensorService.h>

#include <functional>
#include <memory>
#include <mutex>

#include "phone/core/phone.h"
#include "phone/faults/faults.h"
#include "phone/hub/service_faults.h"

namespace phone {

// Hands the faults that the test service knows over to it.
void set_service_faults(const Faults& faults, ServiceFaults* out);
// Whether the others are asked for.
bool needs_faulty_link(const Faults& faults);

// Any thread may call.
class FaultyHubLink : public ::vendor::corvane::sensor::kestsensorservice::V1_1::IKestSensorService {
 public:
  using Service = ::vendor::corvane::sensor::kestsensorservice::V1_1::IKestSensorService;
  using Message = ::vendor::corvane::sensor::kestsensorservice::V1_1::ssc_oem_test_msg;
  using Listener = std::function<void(const HubExchange&)>;

  FaultyHubLink(::android::sp<Service> service, std::shared_ptr<const Faults> faults)
      : service_(std::move(service)), faults_(std::move(faults)) {}

  ::android::hardware::Return<void> send_ssc_oem_test_msg(const Message& msg,
                                                          send_ssc_oem_test_msg_cb _hidl_cb) override;
  // Told of the messages that are lost here; the service tells of the others.
  void on_lost(Listener listener);

 private:
  bool loses(const Message& msg, ::android::hardware::Status* status);

  const ::android::sp<Service> service_;
  const std::shared_ptr<const Faults> faults_;

  std::mutex mutex_;
  Listener listener_;  // guarded by mutex_
  int messages_ = 0;   // guarded by mutex_
};

}  // namespace phone
