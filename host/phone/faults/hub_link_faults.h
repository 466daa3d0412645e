// A test service that loses what the faults say, in front of the real one.
#pragma once

#include <vendor/corvane/sensor/kestsensorservice/1.1/IKestSensorService.h>

#include <atomic>
#include <memory>

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

  FaultyHubLink(::android::sp<Service> service, std::shared_ptr<const Faults> faults)
      : service_(std::move(service)), faults_(std::move(faults)) {}

  ::android::hardware::Return<void> send_ssc_oem_test_msg(const Message& msg,
                                                          send_ssc_oem_test_msg_cb _hidl_cb) override;

 private:
  const ::android::sp<Service> service_;
  const std::shared_ptr<const Faults> faults_;
  std::atomic<int> messages_{0};
};

}  // namespace phone
