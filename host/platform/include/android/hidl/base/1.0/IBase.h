// Stand-in for the generated interface IBase, which every other one extends.
#pragma once

#include <stdint.h>

#include <functional>

#include <android/hidl/base/1.0/types.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>
#include <utils/RefBase.h>
#include <utils/StrongPointer.h>

namespace android {
namespace hidl {
namespace base {
namespace V1_0 {

struct IBase : virtual public ::android::RefBase {
  static const char* descriptor;

  virtual bool isRemote() const { return false; }

  using interfaceChain_cb =
      std::function<void(const ::android::hardware::hidl_vec<::android::hardware::hidl_string>& descriptors)>;
  virtual ::android::hardware::Return<void> interfaceChain(interfaceChain_cb _hidl_cb) = 0;

  virtual ::android::hardware::Return<void> debug(
      const ::android::hardware::hidl_handle& fd,
      const ::android::hardware::hidl_vec<::android::hardware::hidl_string>& options) = 0;

  using interfaceDescriptor_cb = std::function<void(const ::android::hardware::hidl_string& descriptor)>;
  virtual ::android::hardware::Return<void> interfaceDescriptor(interfaceDescriptor_cb _hidl_cb) = 0;

  using getHashChain_cb =
      std::function<void(const ::android::hardware::hidl_vec<::android::hardware::hidl_array<uint8_t, 32>>& hashchain)>;
  virtual ::android::hardware::Return<void> getHashChain(getHashChain_cb _hidl_cb) = 0;

  virtual ::android::hardware::Return<void> setHALInstrumentation() = 0;

  virtual ::android::hardware::Return<bool> linkToDeath(
      const ::android::sp<::android::hardware::hidl_death_recipient>& recipient, uint64_t cookie) = 0;

  virtual ::android::hardware::Return<void> ping() = 0;

  using getDebugInfo_cb = std::function<void(const DebugInfo& info)>;
  virtual ::android::hardware::Return<void> getDebugInfo(getDebugInfo_cb _hidl_cb) = 0;

  virtual ::android::hardware::Return<void> notifySyspropsChanged() = 0;

  virtual ::android::hardware::Return<bool> unlinkToDeath(
      const ::android::sp<::android::hardware::hidl_death_recipient>& recipient) = 0;
};

}  // namespace V1_0
}  // namespace base
}  // namespace hidl
}  // namespace android
