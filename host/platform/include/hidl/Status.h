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
    EX_NULL_POINTER = -4,
    EX_ILLEGAL_STATE = -5,
    EX_UNSUPPORTED_OPERATION = -7,
    EX_TRANSACTION_FAILED = -129,
  };

  Status() = default;
  static Status ok() { return {}; }
  static Status fromExceptionCode(Exception code, const char* message = "") { return {code, OK, message}; }
  static Status fromStatusT(status_t status) {
    return status == OK ? Status() : Status(EX_TRANSACTION_FAILED, status, "");
  }

  bool isOk() const { return exception_ == EX_NONE; }
  int32_t exceptionCode() const { return exception_; }
  status_t transactionError() const { return error_; }
  const char* exceptionMessage() const { return message_.c_str(); }

 private:
  Status(int32_t exception, status_t error, std::string message)
      : exception_(exception), error_(error), message_(std::move(message)) {}

  int32_t exception_ = EX_NONE;
  status_t error_ = OK;
  std::string message_;
};

namespace details {

class return_status {
 public:
  bool isOk() const { return status_.isOk(); }
  bool isDeadObject() const { return status_.transactionError() == DEAD_OBJECT; }
  std::string description() const { return isOk() ? "No error" : status_.exceptionMessage(); }

 protected:
  return_status() = default;
  explicit return_status(Status status) : status_(std::move(status)) {}

  // Ends the process when the call failed, as the real one does on a value that was never there.
  void assertOk() const;

 private:
  Status status_;
};

}  // namespace details

template <typename T>
class Return : public details::return_status {
 public:
  Return(T value) : value_(std::move(value)) {}                // NOLINT(google-explicit-constructor)
  Return(Status status) : return_status(std::move(status)) {}  // NOLINT(google-explicit-constructor)

  operator T() const {  // NOLINT(google-explicit-constructor)
    assertOk();
    return value_;
  }
  T withDefault(T fallback) const { return isOk() ? value_ : fallback; }

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
