// Stand-in for libutils' <utils/StrongPointer.h>.
#pragma once

#include <utility>

namespace android {

// A strong reference to an object derived from RefBase.
template <typename T>
class sp {
 public:
  sp() = default;
  sp(T* other) : ptr_(other) { acquire(); }  // NOLINT(google-explicit-constructor): implicit on Android too
  sp(const sp& other) : ptr_(other.ptr_) { acquire(); }
  sp(sp&& other) noexcept : ptr_(other.ptr_) { other.ptr_ = nullptr; }
  template <typename U>
  sp(U* other) : ptr_(other) {
    acquire();
  }  // NOLINT(google-explicit-constructor)
  template <typename U>
  sp(const sp<U>& other) : ptr_(other.get()) {
    acquire();
  }  // NOLINT(google-explicit-constructor)
  template <typename U>
  sp(sp<U>&& other) : ptr_(other.ptr_) {
    other.ptr_ = nullptr;
  }  // NOLINT(google-explicit-constructor)
  ~sp() { release(ptr_); }

  sp& operator=(T* other) { return *this = sp(other); }
  sp& operator=(const sp& other) {
    sp copy(other);
    std::swap(ptr_, copy.ptr_);
    return *this;
  }
  sp& operator=(sp&& other) noexcept {
    sp moved(std::move(other));
    std::swap(ptr_, moved.ptr_);
    return *this;
  }
  template <typename U>
  sp& operator=(const sp<U>& other) {
    return *this = sp(other);
  }
  template <typename U>
  sp& operator=(sp<U>&& other) {
    return *this = sp(std::move(other));
  }

  void clear() {
    T* old = ptr_;
    ptr_ = nullptr;
    release(old);
  }

  T& operator*() const { return *ptr_; }
  T* operator->() const { return ptr_; }
  T* get() const { return ptr_; }
  explicit operator bool() const { return ptr_ != nullptr; }

  template <typename U>
  bool operator==(const sp<U>& other) const {
    return ptr_ == other.get();
  }
  template <typename U>
  bool operator!=(const sp<U>& other) const {
    return ptr_ != other.get();
  }
  bool operator==(const T* other) const { return ptr_ == other; }
  bool operator!=(const T* other) const { return ptr_ != other; }

 private:
  template <typename U>
  friend class sp;

  void acquire() {
    if (ptr_ != nullptr) ptr_->incStrong(this);
  }
  void release(T* object) {
    if (object != nullptr) object->decStrong(this);
  }

  T* ptr_ = nullptr;
};

}  // namespace android
