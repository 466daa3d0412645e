// Stand-in for libhidlbase's <hidl/HidlSupport.h>: strings, vectors and arrays with the real ones' operations, as far
// as they are used, and no others.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include <utils/RefBase.h>

namespace android {

template <typename T>
class wp;

namespace hidl {
namespace base {
namespace V1_0 {
struct IBase;
}  // namespace V1_0
}  // namespace base
}  // namespace hidl

namespace hardware {

// Declared only: nothing here shares memory or files with another process.
struct hidl_handle;
struct hidl_memory;

struct hidl_death_recipient : public virtual RefBase {
  virtual void serviceDied(uint64_t cookie, const ::android::wp<::android::hidl::base::V1_0::IBase>& who) = 0;
};

struct hidl_string {
  hidl_string() = default;
  hidl_string(const char* text) : text_(text == nullptr ? "" : text) {}  // NOLINT(google-explicit-constructor)
  hidl_string(const char* text, size_t length) : text_(text, length) {}
  hidl_string(const std::string& text) : text_(text) {}  // NOLINT(google-explicit-constructor)

  const char* c_str() const { return text_.c_str(); }
  size_t size() const { return text_.size(); }
  bool empty() const { return text_.empty(); }
  void clear() { text_.clear(); }
  operator std::string() const { return text_; }  // NOLINT(google-explicit-constructor)

 private:
  std::string text_;
};

inline bool operator==(const hidl_string& a, const hidl_string& b) { return strcmp(a.c_str(), b.c_str()) == 0; }
inline bool operator==(const hidl_string& a, const char* b) { return strcmp(a.c_str(), b) == 0; }
inline bool operator==(const char* a, const hidl_string& b) { return strcmp(a, b.c_str()) == 0; }
inline bool operator!=(const hidl_string& a, const hidl_string& b) { return !(a == b); }
inline bool operator!=(const hidl_string& a, const char* b) { return !(a == b); }
inline bool operator!=(const char* a, const hidl_string& b) { return !(a == b); }

template <typename T>
struct hidl_vec {
  using value_type = T;
  using iterator = T*;
  using const_iterator = const T*;

  hidl_vec() = default;
  hidl_vec(const hidl_vec& other) { copy(other.begin(), other.size()); }
  hidl_vec(hidl_vec&& other) noexcept { swap(other); }
  hidl_vec(std::initializer_list<T> items) { copy(items.begin(), items.size()); }
  hidl_vec(const std::vector<T>& items) { copy(items.begin(), items.size()); }  // NOLINT(google-explicit-constructor)
  template <typename Iterator, typename = typename std::iterator_traits<Iterator>::iterator_category>
  hidl_vec(Iterator first, Iterator last) {
    copy(first, static_cast<size_t>(std::distance(first, last)));
  }
  ~hidl_vec() {
    if (owned_) delete[] items_;
  }

  hidl_vec& operator=(const hidl_vec& other) {
    hidl_vec(other).swap(*this);
    return *this;
  }
  hidl_vec& operator=(hidl_vec&& other) noexcept {
    hidl_vec(std::move(other)).swap(*this);
    return *this;
  }

  // Refers to `items`, which have to live as long as this does, unless they become this one's to delete.
  void setToExternal(T* items, size_t size, bool shouldOwn = false) {
    hidl_vec old;
    swap(old);
    items_ = items;
    size_ = static_cast<uint32_t>(size);
    owned_ = shouldOwn;
  }

  T* data() { return items_; }
  const T* data() const { return items_; }
  size_t size() const { return size_; }
  T& operator[](size_t index) { return items_[index]; }
  const T& operator[](size_t index) const { return items_[index]; }
  iterator begin() { return items_; }
  iterator end() { return items_ + size_; }
  const_iterator begin() const { return items_; }
  const_iterator end() const { return items_ + size_; }
  operator std::vector<T>() const { return {begin(), end()}; }  // NOLINT(google-explicit-constructor)

  bool operator==(const hidl_vec& other) const { return std::equal(begin(), end(), other.begin(), other.end()); }
  bool operator!=(const hidl_vec& other) const { return !(*this == other); }

  // Not promised to be zero: elements that are new.
  void resize(size_t size) {
    hidl_vec grown;
    grown.allocate(size);
    std::move(begin(), begin() + std::min(size, this->size()), grown.begin());
    swap(grown);
  }

 private:
  void swap(hidl_vec& other) noexcept {
    std::swap(items_, other.items_);
    std::swap(size_, other.size_);
    std::swap(owned_, other.owned_);
  }
  void allocate(size_t size) {
    items_ = new T[size];
    size_ = static_cast<uint32_t>(size);
    owned_ = true;
  }
  template <typename Iterator>
  void copy(Iterator first, size_t size) {
    allocate(size);
    std::copy_n(first, size, items_);
  }

  T* items_ = nullptr;
  uint32_t size_ = 0;
  bool owned_ = false;
};

// One-dimensional only.
template <typename T, size_t N>
struct hidl_array {
  using value_type = T;
  using std_array_type = std::array<T, N>;

  hidl_array() = default;
  hidl_array(const T* source) { std::copy_n(source, N, buffer_); }         // NOLINT(google-explicit-constructor)
  hidl_array(const std_array_type& source) : hidl_array(source.data()) {}  // NOLINT(google-explicit-constructor)

  T* data() { return buffer_; }
  const T* data() const { return buffer_; }
  T& operator[](size_t index) { return buffer_[index]; }
  const T& operator[](size_t index) const { return buffer_[index]; }
  static constexpr size_t size() { return N; }

  bool operator==(const hidl_array& other) const { return std::equal(buffer_, buffer_ + N, other.buffer_); }
  bool operator!=(const hidl_array& other) const { return !(*this == other); }

 private:
  T buffer_[N];
};

}  // namespace hardware
}  // namespace android
