// A sensor manager without direct channels, as on most phones. Host only.
#pragma once

#include <android/frameworks/sensorservice/1.0/ISensorManager.h>

namespace host {

struct NoDirectChannels : public ::android::frameworks::sensorservice::V1_0::ISensorManager {
  using Result = ::android::frameworks::sensorservice::V1_0::Result;

  ::android::hardware::Return<void> createAshmemDirectChannel(const ::android::hardware::hidl_memory& /*mem*/,
                                                              uint64_t /*size*/,
                                                              createAshmemDirectChannel_cb _hidl_cb) override {
    _hidl_cb(nullptr, Result::INVALID_OPERATION);
    return ::android::hardware::Void();
  }
  ::android::hardware::Return<void> createGrallocDirectChannel(const ::android::hardware::hidl_handle& /*buffer*/,
                                                               uint64_t /*size*/,
                                                               createGrallocDirectChannel_cb _hidl_cb) override {
    _hidl_cb(nullptr, Result::INVALID_OPERATION);
    return ::android::hardware::Void();
  }
};

}  // namespace host
