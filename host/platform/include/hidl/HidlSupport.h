// Stand-in for libhidlbase's <hidl/HidlSupport.h>: strings, vectors and arrays with the operations that are used.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <array>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace android {
namespace hardware {

class hidl_string {
 public:
  hidl_string() = default;
  hidl_string(const char* text) : text_(text == nullptr ? "" : text) {}  // NOLINT(google-explicit-constructor)
  hidl_string(const char* text, size_t length) : text_(text, length) {}
  hidl_string(std::string text) : text_(std::move(text)) {}  // NOLINT(google-explicit-constructor)

  const char* c_str() const { return text_.c_str(); }
  size_t size() const { return text_.size(); }
  bool empty() const { return text_.empty(); }
  void clear() { text_.clear(); }
  operator std::string() const { return text_; }  // NOLINT(google-explicit-constructor)

  friend bool operator==(const hidl_string& a, const hidl_string& b) { return a.text_ == b.text_; }
  friend bool operator!=(const hidl_string& a, const hidl_string& b) { return a.text_ != b.text_; }

 private:
  std::string text_;
};

template <typename T>
class hidl_vec {
 public:
  hidl_vec() = default;
  hidl_vec(std::initializer_list<T> items) : items_(items) {}
  hidl_vec(const std::vector<T>& items) : items_(items) {}  // NOLINT(google-explicit-constructor)

  T* data() { return items_.data(); }
  const T* data() const { return items_.data(); }
  size_t size() const { return items_.size(); }
  void resize(size_t size) { items_.resize(size); }
  T& operator[](size_t index) { return items_[index]; }
  const T& operator[](size_t index) const { return items_[index]; }
  auto begin() { return items_.begin(); }
  auto end() { return items_.end(); }
  auto begin() const { return items_.begin(); }
  auto end() const { return items_.end(); }

 private:
  std::vector<T> items_;
};

// One-dimensional only.
template <typename T, size_t N>
struct hidl_array {
  T* data() { return buffer_; }
  const T* data() const { return buffer_; }
  T& operator[](size_t index) { return buffer_[index]; }
  const T& operator[](size_t index) const { return buffer_[index]; }
  static constexpr size_t size() { return N; }

  T buffer_[N];
};

}  // namespace hardware
}  // namespace android
