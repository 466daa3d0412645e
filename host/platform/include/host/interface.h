// What the interface compiler writes into every interface alike. Host only. Declares no name beyond the generated ones:
// a client that leaned on one would not build on a phone.
#pragma once

#include <unistd.h>

#include <string>

#include <android/hidl/base/1.0/IBase.h>
#include <host/service_registry.h>
#include <utils/Errors.h>

namespace host {

// An object in the client's own process answers IBase's methods itself.
template <typename Interface>
struct Extends : public ::android::hidl::base::V1_0::IBase {
  bool isRemote() const override { return false; }

  ::android::hardware::Return<void> interfaceChain(interfaceChain_cb _hidl_cb) override {
    _hidl_cb({Interface::descriptor, ::android::hidl::base::V1_0::IBase::descriptor});
    return ::android::hardware::Void();
  }
  ::android::hardware::Return<void> debug(
      const ::android::hardware::hidl_handle& /*fd*/,
      const ::android::hardware::hidl_vec<::android::hardware::hidl_string>& /*options*/) override {
    return ::android::hardware::Void();
  }
  ::android::hardware::Return<void> interfaceDescriptor(interfaceDescriptor_cb _hidl_cb) override {
    _hidl_cb(Interface::descriptor);
    return ::android::hardware::Void();
  }
  // The hashes are of the interface's own files, which a host does not have.
  ::android::hardware::Return<void> getHashChain(getHashChain_cb _hidl_cb) override {
    _hidl_cb({});
    return ::android::hardware::Void();
  }
  ::android::hardware::Return<void> setHALInstrumentation() override { return ::android::hardware::Void(); }
  // Nobody is told: the object dies with its client.
  ::android::hardware::Return<bool> linkToDeath(
      const ::android::sp<::android::hardware::hidl_death_recipient>& recipient, uint64_t /*cookie*/) override {
    return recipient != nullptr;
  }
  ::android::hardware::Return<void> ping() override { return ::android::hardware::Void(); }
  ::android::hardware::Return<void> getDebugInfo(getDebugInfo_cb _hidl_cb) override {
    using ::android::hidl::base::V1_0::DebugInfo;
    constexpr bool kWide = sizeof(void*) == 8;
    _hidl_cb({getpid(), reinterpret_cast<uintptr_t>(this),
              kWide ? DebugInfo::Architecture::IS_64BIT : DebugInfo::Architecture::IS_32BIT});
    return ::android::hardware::Void();
  }
  ::android::hardware::Return<void> notifySyspropsChanged() override { return ::android::hardware::Void(); }
  ::android::hardware::Return<bool> unlinkToDeath(
      const ::android::sp<::android::hardware::hidl_death_recipient>& recipient) override {
    return recipient != nullptr;
  }
};

// An interface that is looked up by name. Every service is put in by its interface's own registerAsService(): what lies
// under a descriptor is of that kind.
template <typename Interface>
struct ExtendsService : public Extends<Interface> {
  // Waits for a service that is declared and not there, for ever if need be.
  static ::android::sp<Interface> getService(const std::string& serviceName = "default", bool /*getStub*/ = false) {
    return static_cast<Interface*>(await_service(Interface::descriptor, serviceName).get());
  }
  static ::android::sp<Interface> getService(const char serviceName[], bool getStub = false) {
    return getService(std::string(serviceName == nullptr ? "" : serviceName), getStub);
  }
  static ::android::sp<Interface> getService(const ::android::hardware::hidl_string& serviceName,
                                             bool getStub = false) {
    return getService(std::string(serviceName), getStub);
  }
  static ::android::sp<Interface> getService(bool getStub) { return getService("default", getStub); }

  // Does not wait.
  static ::android::sp<Interface> tryGetService(const std::string& serviceName = "default", bool /*getStub*/ = false) {
    return static_cast<Interface*>(find_service(Interface::descriptor, serviceName).get());
  }
  static ::android::sp<Interface> tryGetService(const char serviceName[], bool getStub = false) {
    return tryGetService(std::string(serviceName == nullptr ? "" : serviceName), getStub);
  }
  static ::android::sp<Interface> tryGetService(const ::android::hardware::hidl_string& serviceName,
                                                bool getStub = false) {
    return tryGetService(std::string(serviceName), getStub);
  }
  static ::android::sp<Interface> tryGetService(bool getStub) { return tryGetService("default", getStub); }

  ::android::status_t registerAsService(const std::string& serviceName = "default") {
    add_service(Interface::descriptor, serviceName, this);
    return ::android::OK;
  }
};

}  // namespace host
