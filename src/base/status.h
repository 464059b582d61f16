// Status: the outcome of a call that can fail: success, or a code and a message.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace tl {

// Codes belong to the call that returns them: an errno value for files, the registry's return
// code, the notification system's status. 0 is success; any other code is a failure, with a
// message for logs. A successful status holds no text and costs no allocation.
class [[nodiscard]] Status {
 public:
  Status() = default;

  static Status OK() { return Status(); }
  // code must not be 0.
  static Status Error(int32_t code, std::string message) {
    return Status(code, std::move(message));
  }
  // The errno value code with its system text.
  static Status FromErrno(int code) { return Status(code, std::strerror(code)); }

  bool ok() const { return code_ == 0; }
  int32_t code() const { return code_; }
  const std::string& message() const { return message_; }

  // The same failure with what failed said first ("inhibitor refused: Access denied"); a
  // success stays a success.
  Status prefixed(std::string_view what) const {
    if (ok()) return *this;
    return Status(code_, std::string(what) + ": " + message_);
  }

  // Says that the caller looks at the outcome no further, where that is the documented behaviour.
  void IgnoreError() const {}

 private:
  Status(int32_t code, std::string message) : code_(code), message_(std::move(message)) {}

  int32_t code_ = 0;
  std::string message_;
};

}  // namespace tl
