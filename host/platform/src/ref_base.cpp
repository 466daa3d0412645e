#include <utils/RefBase.h>

namespace android {

RefBase::~RefBase() = default;

void RefBase::incStrong(const void* /*id*/) const { strong_.fetch_add(1, std::memory_order_relaxed); }

void RefBase::decStrong(const void* /*id*/) const {
  if (strong_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

int32_t RefBase::getStrongCount() const { return strong_.load(std::memory_order_relaxed); }

}  // namespace android
