// Stand-in for libutils' <utils/RefBase.h>: strong references only.
#pragma once

#include <stdint.h>

#include <atomic>

#include <utils/StrongPointer.h>

namespace android {

// The reference count that sp<> works on. The object deletes itself when its last strong reference goes.
class RefBase {
 public:
  void incStrong(const void* id) const;
  void decStrong(const void* id) const;
  int32_t getStrongCount() const;

 protected:
  RefBase() = default;
  virtual ~RefBase();
  RefBase(const RefBase&) = delete;
  RefBase& operator=(const RefBase&) = delete;

 private:
  mutable std::atomic<int32_t> strong_{0};
};

}  // namespace android
