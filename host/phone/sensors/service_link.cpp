#include "phone/sensors/service_link.h"

#include <android/frameworks/sensorservice/1.0/ISensorManager.h>
#include <host/service_registry.h>

namespace phone {

bool ServiceLink::take_call() {
  const int calls_before = calls_++;
  const Fault* const vanish = faults_->find(FaultId::sensors_vanish);
  if (vanish != nullptr && calls_before >= static_cast<int>(vanish->amount)) {
    die();
    return false;
  }
  const Fault* const fail = faults_->find(FaultId::sensors_fail);
  return connected_ && (fail == nullptr || calls_before < static_cast<int>(fail->amount));
}

// The process behind it is gone, and with it what its sensors had to say.
void ServiceLink::die() {
  using ::android::frameworks::sensorservice::V1_0::ISensorManager;
  stage_->die();
  const auto registered = host::find_service(ISensorManager::descriptor, "default");
  if (registered != nullptr && registered.get() == service_)
    host::remove_service(ISensorManager::descriptor, "default");
}

}  // namespace phone
