// Stand-in for libhidlbase's <hidl/Status.h>: the result of a HIDL call.
#pragma once

#include <stdint.h>

#include <string>
#include <utility>

#include <utils/Errors.h>

namespace android {
namespace hardware {

// The transport's own status: OK, or why the call did not get through.
class Status final {
 public:
  enum Exception : int32_t {
    EX_NONE = 0,
    EX_SECURITY = -1,
    EX_BAD_PARCELABLE = -2,
    EX_ILLEGAL_ARGUMENT = -3,
    EX_NULL_POINTER = -4,
    EX_ILLEGAL_STATE = -5,
    EX_NETWORK_MAIN_THREAD = -6,
    EX_UNSUPPORTED_OPERATION = -7,
    EX_TRANSACTION_FAILED = -129,
  };

  Status() = default;
  static Status ok() { return {}; }
  static Status fromExceptionCode(int32_t code) { return {code, FAILED_TRANSACTION, ""}; }
  static Status fromExceptionCode(int32_t code, const char* message) { return {code, FAILED_TRANSACTION, message}; }
  static Status fromStatusT(status_t status) {
    return status == OK ? Status() : Status(EX_TRANSACTION_FAILED, status, "");
  }

  bool isOk() const { return exception_ == EX_NONE; }
  int32_t exceptionCode() const { return exception_; }
  status_t transactionError() const { return exception_ == EX_TRANSACTION_FAILED ? error_ : OK; }
  const char* exceptionMessage() const { return message_.c_str(); }
  std::string description() const;

 private:
  Status(int32_t exception, status_t error, const char* message)
      : exception_(exception), error_(error), message_(message) {}

  int32_t exception_ = EX_NONE;
  status_t error_ = OK;
  std::string message_;
};

namespace details {

// A failed call whose status nobody has asked for with isOk() ends the process when it is dropped, and so does reading
// the value of a failed call: a client that does not look does not go on with a value that was never there.
class return_status {
 public:
  return_status(const return_status&) = delete;
  return_status& operator=(const return_status&) = delete;
  return_status(return_status&& other) noexcept { *this = std::move(other); }
  return_status& operator=(return_status&& other) noexcept {
    assertChecked();
    status_ = std::exchange(other.status_, Status());
    checked_ = other.checked_;
    return *this;
  }
  ~return_status() { assertChecked(); }

  bool isOk() const {
    checked_ = true;
    return status_.isOk();
  }
  void assertOk() const {
    if (!isOk()) end("a failed HIDL call");
  }
  // Neither counts as having looked.
  bool isDeadObject() const { return status_.transactionError() == DEAD_OBJECT; }
  std::string description() const { return status_.description(); }

 protected:
  return_status() = default;
  explicit return_status(Status status) : status_(std::move(status)) {}

  void onValueRetrieval() const {
    if (!isOk()) end("the value of a failed HIDL call was read");
  }

 private:
  void assertChecked() const {
    if (!checked_ && !status_.isOk()) end("a failed HIDL call was dropped unread");
  }
  [[noreturn]] void end(const char* why) const;

  Status status_;
  mutable bool checked_ = false;
};

}  // namespace details

template <typename T>
class Return : public details::return_status {
 public:
  Return(T value) : value_(std::move(value)) {}                // NOLINT(google-explicit-constructor)
  Return(Status status) : return_status(std::move(status)) {}  // NOLINT(google-explicit-constructor)

  operator T() const {  // NOLINT(google-explicit-constructor)
    onValueRetrieval();
    return value_;
  }
  T withDefault(T fallback) { return isOk() ? value_ : fallback; }

 private:
  T value_{};
};

template <>
class Return<void> : public details::return_status {
 public:
  Return() = default;
  Return(Status status) : return_status(std::move(status)) {}  // NOLINT(google-explicit-constructor)
};

inline Return<void> Void() { return {}; }

}  // namespace hardware
}  // namespace android
