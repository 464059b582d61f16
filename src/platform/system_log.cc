// TLLog: printf-style formatting into the system log.
#include "platform/system_log.h"

#include <cstdarg>
#include <cstring>

#include "platform/platform.h"

namespace tl::platform {

namespace log_format {

std::string NextConversion(std::string_view format, size_t* at, std::string& out) {
  while (*at < format.size()) {
    const size_t percent = format.find('%', *at);
    out.append(format.substr(*at, std::min(percent, format.size()) - *at));
    if (percent == std::string_view::npos || percent + 1 >= format.size()) {
      *at = format.size();
      return {};
    }
    if (format[percent + 1] == '%') {
      out += '%';
      *at = percent + 2;
      continue;
    }
    size_t end = percent + 1;
    while (end < format.size() && !std::strchr("diouxXeEfFgGaAcsp@", format[end])) ++end;
    *at = std::min(end + 1, format.size());
    std::string conversion(format.substr(percent, *at - percent));
    if (conversion.back() == '@') conversion.back() = 's';
    return conversion;
  }
  return {};
}

}  // namespace log_format

void WriteLogLine(std::string_view line) { Current().log().write(line); }

}  // namespace tl::platform

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
    tl::platform::WriteLogLine(std::string_view(small, n));
    return;
  }
  std::string line(static_cast<size_t>(n), '\0');
  std::vsnprintf(line.data(), line.size() + 1, format, again);
  va_end(again);
  tl::platform::WriteLogLine(line);
}
