// What the interface compiler writes into every interface alike. Host only. Declares no name beyond the generated ones:
// a client that leaned on one would not build on a phone.
#pragma once

#include <unistd.h>

#include <string>

#include <android/hidl/base/1.0/IBase.h>
#include <utils/Errors.h>

namespace android {
namespace hardware {
namespace details {

// An object in the client's own process answers IBase's methods itself.
template <typename Interface>
struct Extends : public ::android::hidl::base::V1_0::IBase {
  bool isRemote() const override { return false; }

  Return<void> interfaceChain(interfaceChain_cb _hidl_cb) override {
    _hidl_cb({Interface::descriptor, ::android::hidl::base::V1_0::IBase::descriptor});
    return Void();
  }
  Return<void> debug(const hidl_handle& /*fd*/, const hidl_vec<hidl_string>& /*options*/) override { return Void(); }
  Return<void> interfaceDescriptor(interfaceDescriptor_cb _hidl_cb) override {
    _hidl_cb(Interface::descriptor);
    return Void();
  }
  // The hashes are of the interface's own files, which a host does not have.
  Return<void> getHashChain(getHashChain_cb _hidl_cb) override {
    _hidl_cb({});
    return Void();
  }
  Return<void> setHALInstrumentation() override { return Void(); }
  // Nobody is told: the object dies with its client.
  Return<bool> linkToDeath(const ::android::sp<hidl_death_recipient>& recipient, uint64_t /*cookie*/) override {
    return recipient != nullptr;
  }
  Return<void> ping() override { return Void(); }
  Return<void> getDebugInfo(getDebugInfo_cb _hidl_cb) override {
    using Architecture = ::android::hidl::base::V1_0::DebugInfo::Architecture;
    _hidl_cb({getpid(), reinterpret_cast<uintptr_t>(this),
              sizeof(void*) == 8 ? Architecture::IS_64BIT : Architecture::IS_32BIT});
    return Void();
  }
  Return<void> notifySyspropsChanged() override { return Void(); }
  Return<bool> unlinkToDeath(const ::android::sp<hidl_death_recipient>& recipient) override {
    return recipient != nullptr;
  }
};

// An interface that is looked up by name, in host/service_registry.h's list.
template <typename Interface>
struct ExtendsService : public Extends<Interface> {
  // Waits for a service that is declared and not there, for ever if need be.
  static ::android::sp<Interface> getService(const std::string& serviceName = "default", bool getStub = false);
  static ::android::sp<Interface> getService(const char serviceName[], bool getStub = false) {
    return getService(std::string(serviceName == nullptr ? "" : serviceName), getStub);
  }
  static ::android::sp<Interface> getService(const hidl_string& serviceName, bool getStub = false) {
    return getService(std::string(serviceName), getStub);
  }
  static ::android::sp<Interface> getService(bool getStub) { return getService("default", getStub); }

  // Does not wait.
  static ::android::sp<Interface> tryGetService(const std::string& serviceName = "default", bool getStub = false);
  static ::android::sp<Interface> tryGetService(const char serviceName[], bool getStub = false) {
    return tryGetService(std::string(serviceName == nullptr ? "" : serviceName), getStub);
  }
  static ::android::sp<Interface> tryGetService(const hidl_string& serviceName, bool getStub = false) {
    return tryGetService(std::string(serviceName), getStub);
  }
  static ::android::sp<Interface> tryGetService(bool getStub) { return tryGetService("default", getStub); }

  ::android::status_t registerAsService(const std::string& serviceName = "default");
};

}  // namespace details
}  // namespace hardware
}  // namespace android
