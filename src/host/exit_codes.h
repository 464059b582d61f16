// tallyd's exit statuses, and the error that carries one up to the command line.
#pragma once

#include <stdexcept>
#include <string>

namespace tl::host {

// The statuses follow the BSD sysexits convention, so that scripts can tell a mistyped command
// from a bad trace and from a disk that cannot be written.
inline constexpr int kExitOk = 0;
inline constexpr int kExitUsage = 64;      // the command line is wrong
inline constexpr int kExitBadInput = 65;   // a trace, a settings file or a store holds bad data
inline constexpr int kExitInternal = 70;   // a fault of tallyd itself
inline constexpr int kExitReadWrite = 74;  // a file cannot be read or written

// An error whose message is the whole text shown to the user, with the status to exit with.
class CommandError : public std::runtime_error {
 public:
  CommandError(int status, const std::string& message)
      : std::runtime_error(message), status_(status) {}
  int status() const { return status_; }

 private:
  int status_;
};

}  // namespace tl::host
