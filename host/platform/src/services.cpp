#include <android/frameworks/sensorservice/1.0/ISensorManager.h>
#include <host/service_registry.h>
#include <vendor/corvane/sensor/kestsensorservice/1.1/IKestSensorService.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <utility>
#include <vector>

namespace host {
namespace {

struct Entry {
  std::string descriptor;
  std::string instance;
  Service service;  // null: declared, and not there
  bool declared = false;
};

struct Registry {
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<Entry> entries;  // guarded by mutex; a handful at most
};

// Never destroyed: a phone may still take its services out while the process ends, and a client may wait until then.
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

// With the registry's mutex held.
Entry& make_entry(std::string_view descriptor, std::string_view instance) {
  const auto found = find_entry(descriptor, instance);
  if (found != registry().entries.end()) return *found;
  return registry().entries.emplace_back(Entry{std::string(descriptor), std::string(instance), nullptr});
}

// With the registry's mutex held.
void drop_empty() {
  std::vector<Entry>& entries = registry().entries;
  entries.erase(std::remove_if(entries.begin(), entries.end(),
                               [](const Entry& entry) { return entry.service == nullptr && !entry.declared; }),
                entries.end());
}

Finder& finder() {
  static Finder* const instance = new Finder;
  return *instance;
}

// What lies under an interface's descriptor was put in by its own registerAsService(), and is of that kind. One strong
// reference is made, no text and no check: every hub command comes by here.
template <typename Interface>
::android::sp<Interface> look_up(std::string_view descriptor, std::string_view instance, bool waits) {
  ::android::sp<Interface> service;
  {
    std::unique_lock<std::mutex> lock(registry().mutex);
    auto found = find_entry(descriptor, instance);
    while (waits && found != registry().entries.end() && found->service == nullptr) {
      registry().changed.wait(lock);
      found = find_entry(descriptor, instance);
    }
    if (found != registry().entries.end()) service = static_cast<Interface*>(found->service.get());
  }
  if (!finder()) return service;
  return static_cast<Interface*>(finder()(std::string(descriptor), service).get());
}

}  // namespace

void add_service(std::string_view descriptor, std::string_view instance, const Service& service) {
  Service old;  // goes after the lock
  const std::lock_guard<std::mutex> lock(registry().mutex);
  old = std::exchange(make_entry(descriptor, instance).service, service);
  registry().changed.notify_all();
}

Service find_service(std::string_view descriptor, std::string_view instance) {
  return look_up<::android::hidl::base::V1_0::IBase>(descriptor, instance, false);
}

void declare_service(std::string_view descriptor, std::string_view instance, bool declared) {
  const std::lock_guard<std::mutex> lock(registry().mutex);
  make_entry(descriptor, instance).declared = declared;
  drop_empty();
  registry().changed.notify_all();
}

void on_find_service(Finder between) { finder() = std::move(between); }

bool remove_service(std::string_view descriptor, std::string_view instance) {
  Service old;  // goes after the lock
  const std::lock_guard<std::mutex> lock(registry().mutex);
  const auto found = find_entry(descriptor, instance);
  if (found == registry().entries.end()) return false;
  old = std::move(found->service);
  drop_empty();
  return old != nullptr;
}

}  // namespace host

namespace android {
namespace hardware {
namespace details {

template <typename Interface>
::android::sp<Interface> ExtendsService<Interface>::getService(const std::string& serviceName, bool /*getStub*/) {
  return host::look_up<Interface>(Interface::descriptor, serviceName, true);
}

template <typename Interface>
::android::sp<Interface> ExtendsService<Interface>::tryGetService(const std::string& serviceName, bool /*getStub*/) {
  return host::look_up<Interface>(Interface::descriptor, serviceName, false);
}

template <typename Interface>
::android::status_t ExtendsService<Interface>::registerAsService(const std::string& serviceName) {
  host::add_service(Interface::descriptor, serviceName, this);
  return ::android::OK;
}

template struct ExtendsService<::android::frameworks::sensorservice::V1_0::ISensorManager>;
template struct ExtendsService<::vendor::corvane::sensor::kestsensorservice::V1_1::IKestSensorService>;

}  // namespace details
}  // namespace hardware

namespace hidl {
namespace base {
namespace V1_0 {

const char* IBase::descriptor = "android.hidl.base@1.0::IBase";

}  // namespace V1_0
}  // namespace base
}  // namespace hidl

namespace frameworks {
namespace sensorservice {
namespace V1_0 {

const char* IDirectReportChannel::descriptor = "android.frameworks.sensorservice@1.0::IDirectReportChannel";
const char* IEventQueue::descriptor = "android.frameworks.sensorservice@1.0::IEventQueue";
const char* IEventQueueCallback::descriptor = "android.frameworks.sensorservice@1.0::IEventQueueCallback";
const char* ISensorManager::descriptor = "android.frameworks.sensorservice@1.0::ISensorManager";

}  // namespace V1_0
}  // namespace sensorservice
}  // namespace frameworks
}  // namespace android

namespace vendor {
namespace corvane {
namespace sensor {
namespace kestsensorservice {
namespace V1_1 {

const char* IKestSensorService::descriptor = "vendor.corvane.sensor.kestsensorservice@1.1::IKestSensorService";

}  // namespace V1_1
}  // namespace kestsensorservice
}  // namespace sensor
}  // namespace corvane
}  // namespace vendor
