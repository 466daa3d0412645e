// The maker's sensor test service of the simulated phone: the way to the hub.
#pragma once

#include <vendor/corvane/sensor/kestsensorservice/1.1/IKestSensorService.h>

#include <condition_variable>
#include <functional>
#include <mutex>

#include "phone/core/phone.h"
#include "phone/hub/hub.h"
#include "phone/hub/service_faults.h"

namespace phone {

// Any thread may call. Clients may hold it longer than the phone lives: disconnect() cuts it off from the hub.
class TestService : public ::vendor::corvane::sensor::kestsensorservice::V1_1::IKestSensorService {
 public:
  using Listener = std::function<void(const HubExchange&)>;

  // `faults` may be null. Hub and faults must live until disconnect() has returned.
  TestService(Hub* hub, const ServiceFaults* faults);

  // Told of every message, on the thread that sent it and before its client is called back; lost ones too.
  void on_exchange(Listener listener);
  // From now on every message fails in transport. Waits for those under way to leave the hub and the listener; not to
  // be called from inside the listener.
  void disconnect();

  ::android::hardware::Return<void> send_ssc_oem_test_msg(const HubMessage& msg,
                                                          send_ssc_oem_test_msg_cb _hidl_cb) override;

 private:
  bool exchange(const HubRecord& request, HubRecord* reply, std::string* note) const;
  bool enter(Listener* listener);
  void leave();

  Hub* const hub_;
  const ServiceFaults* const faults_;

  std::mutex mutex_;
  std::condition_variable left_;
  Listener listener_;        // guarded by mutex_
  bool connected_ = true;    // guarded by mutex_
  int calls_under_way_ = 0;  // guarded by mutex_
};

}  // namespace phone
