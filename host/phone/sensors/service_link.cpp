#include "phone/sensors/service_link.h"

#include <android/frameworks/sensorservice/1.0/ISensorManager.h>
#include <host/service_registry.h>

namespace phone {

bool ServiceLink::take_call() {
  const int calls_before = calls_++;
  if (faults_->is_over({FaultId::sensors_vanish, FaultId::sensors_dead}, calls_before)) {
    die();
    return false;
  }
  return connected_ && !faults_->is_over({FaultId::sensors_fail}, calls_before);
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
