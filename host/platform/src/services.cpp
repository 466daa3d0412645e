#include <android/frameworks/sensorservice/1.0/ISensorManager.h>
#include <host/service_registry.h>
#include <vendor/corvane/sensor/kestsensorservice/1.1/IKestSensorService.h>

#include <map>
#include <mutex>
#include <utility>

namespace host {
namespace {

using Key = std::pair<std::string, std::string>;

struct Registry {
  std::mutex mutex;
  std::map<Key, Service> services;  // guarded by mutex
};

// Never destroyed: a phone may still take its services out while the process ends.
Registry& registry() {
  static Registry* const instance = new Registry;
  return *instance;
}

template <typename Interface>
::android::sp<Interface> get_service(const std::string& instance) {
  const Service service = find_service(Interface::descriptor, instance);
  return dynamic_cast<Interface*>(service.get());
}

}  // namespace

void add_service(const std::string& descriptor, const std::string& instance, const Service& service) {
  Service old;  // goes after the lock
  const std::lock_guard<std::mutex> lock(registry().mutex);
  Service& slot = registry().services[{descriptor, instance}];
  old = std::move(slot);
  slot = service;
}

Service find_service(const std::string& descriptor, const std::string& instance) {
  const std::lock_guard<std::mutex> lock(registry().mutex);
  const auto found = registry().services.find({descriptor, instance});
  return found == registry().services.end() ? Service() : found->second;
}

bool remove_service(const std::string& descriptor, const std::string& instance) {
  Service old;  // goes after the lock
  const std::lock_guard<std::mutex> lock(registry().mutex);
  const auto found = registry().services.find({descriptor, instance});
  if (found == registry().services.end()) return false;
  old = std::move(found->second);
  registry().services.erase(found);
  return true;
}

}  // namespace host

namespace android {
namespace frameworks {
namespace sensorservice {
namespace V1_0 {

::android::sp<ISensorManager> ISensorManager::getService(const std::string& serviceName, bool /*getStub*/) {
  return host::get_service<ISensorManager>(serviceName);
}

::android::status_t ISensorManager::registerAsService(const std::string& serviceName) {
  host::add_service(descriptor, serviceName, this);
  return ::android::OK;
}

}  // namespace V1_0
}  // namespace sensorservice
}  // namespace frameworks
}  // namespace android

namespace vendor {
namespace corvane {
namespace sensor {
namespace kestsensorservice {
namespace V1_1 {

::android::sp<IKestSensorService> IKestSensorService::getService(const std::string& serviceName, bool /*getStub*/) {
  return host::get_service<IKestSensorService>(serviceName);
}

::android::status_t IKestSensorService::registerAsService(const std::string& serviceName) {
  host::add_service(descriptor, serviceName, this);
  return ::android::OK;
}

}  // namespace V1_1
}  // namespace kestsensorservice
}  // namespace sensor
}  // namespace corvane
}  // namespace vendor
