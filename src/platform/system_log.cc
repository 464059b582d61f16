// TLLog: printf-style formatting into the system log.
#include "platform/system_log.h"

#include <cstdarg>
#include <cstdio>
#include <string>

#include "platform/platform.h"

void TLLog(const char* format, ...) {
  va_list args;
  va_start(args, format);
  va_list again;
  va_copy(again, args);
  char small[256];
  int n = std::vsnprintf(small, sizeof small, format, args);
  va_end(args);
  if (n < 0) {
    va_end(again);
    return;
  }
  if (static_cast<size_t>(n) < sizeof small) {
    va_end(again);
    tl::platform::Current().log().write(std::string_view(small, n));
    return;
  }
  std::string line(static_cast<size_t>(n), '\0');
  std::vsnprintf(line.data(), line.size() + 1, format, again);
  va_end(again);
  tl::platform::Current().log().write(line);
}
