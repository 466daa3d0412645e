#include <android/frameworks/sensorservice/1.0/ISensorManager.h>
#include <host/service_registry.h>
#include <vendor/corvane/sensor/kestsensorservice/1.1/IKestSensorService.h>

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

namespace host {
namespace {

struct Entry {
  std::string descriptor;
  std::string instance;
  Service service;
};

struct Registry {
  std::mutex mutex;
  std::vector<Entry> entries;  // guarded by mutex; a handful at most
};

// Never destroyed: a phone may still take its services out while the process ends.
Registry& registry() {
  static Registry* const instance = new Registry;
  return *instance;
}

// With the registry's mutex held.
auto find_entry(std::string_view descriptor, std::string_view instance) {
  std::vector<Entry>& entries = registry().entries;
  return std::find_if(entries.begin(), entries.end(),
                      [&](const Entry& entry) { return entry.descriptor == descriptor && entry.instance == instance; });
}

Finder& finder() {
  static Finder* const instance = new Finder;
  return *instance;
}

// Every service is put in by its interface's own registerAsService(): what lies under a descriptor is of that kind.
template <typename Interface>
::android::sp<Interface> get_service(const std::string& instance) {
  if (finder()) return static_cast<Interface*>(find_service(Interface::descriptor, instance).get());
  const std::lock_guard<std::mutex> lock(registry().mutex);
  const auto found = find_entry(Interface::descriptor, instance);
  return found == registry().entries.end() ? nullptr : static_cast<Interface*>(found->service.get());
}

}  // namespace

void add_service(std::string_view descriptor, std::string_view instance, const Service& service) {
  Service old;  // goes after the lock
  const std::lock_guard<std::mutex> lock(registry().mutex);
  const auto found = find_entry(descriptor, instance);
  if (found == registry().entries.end()) {
    registry().entries.push_back({std::string(descriptor), std::string(instance), service});
  } else {
    old = std::exchange(found->service, service);
  }
}

Service find_service(std::string_view descriptor, std::string_view instance) {
  Service service;
  {
    const std::lock_guard<std::mutex> lock(registry().mutex);
    const auto found = find_entry(descriptor, instance);
    if (found != registry().entries.end()) service = found->service;
  }
  return finder() ? finder()(std::string(descriptor), service) : service;
}

void on_find_service(Finder between) { finder() = std::move(between); }

bool remove_service(std::string_view descriptor, std::string_view instance) {
  Service old;  // goes after the lock
  const std::lock_guard<std::mutex> lock(registry().mutex);
  const auto found = find_entry(descriptor, instance);
  if (found == registry().entries.end()) return false;
  old = std::move(found->service);
  registry().entries.erase(found);
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
