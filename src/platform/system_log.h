// SystemLog: the system log, one call per line.
#pragma once

#include <string_view>

namespace tl::platform {

// Callable from any queue.
class SystemLog {
 public:
  virtual ~SystemLog() = default;
  virtual void write(std::string_view line) = 0;
};

}  // namespace tl::platform

// Formats a line printf-style and writes it to the current platform's system log.
void TLLog(const char* format, ...) __attribute__((format(printf, 1, 2)));
