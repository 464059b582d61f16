// SystemLog: the system log, one call per line.
#pragma once

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>
#include <type_traits>

namespace tl::platform {

// Callable from any queue.
class SystemLog {
 public:
  virtual ~SystemLog() = default;
  virtual void write(std::string_view line) = 0;
};

namespace log_format {

template <class T>
inline constexpr bool kIsText = std::is_same_v<std::decay_t<T>, std::string> ||
                                std::is_same_v<std::decay_t<T>, std::string_view>;

// Copies the literal text of format from *at up to its next conversion (with "%%" as "%") to
// out, and returns that conversion ("%3d"); empty when none is left.
std::string NextConversion(std::string_view format, size_t* at, std::string& out);

template <class T>
void Append(std::string& out, const std::string& conversion, const T& argument) {
  if constexpr (kIsText<T>) {
    out.append(std::string_view(argument));
  } else if constexpr (std::is_convertible_v<const T&, const char*>) {
    const char* text = argument;
    out.append(text ? text : "(null)");
  } else {
    char text[128];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    const int n = std::snprintf(text, sizeof text, conversion.c_str(), argument);
#pragma GCC diagnostic pop
    if (n > 0) out.append(text, std::min<size_t>(static_cast<size_t>(n), sizeof text - 1));
  }
}

}  // namespace log_format

// printf-style formatting in which std::string and std::string_view arguments stand for "%s"
// and are written whole: text from outside (a bundle identifier, a record line) may hold NUL
// bytes, and a log line cut at the first of them would name something else.
template <class... Args>
std::string FormatLogLine(std::string_view format, const Args&... arguments) {
  std::string out;
  size_t at = 0;
  auto next = [&](const auto& argument) {
    const std::string conversion = log_format::NextConversion(format, &at, out);
    if (!conversion.empty()) log_format::Append(out, conversion, argument);
  };
  (next(arguments), ...);
  log_format::NextConversion(format, &at, out);
  return out;
}

}  // namespace tl::platform

// Formats a line printf-style and writes it to the current platform's system log.
void TLLog(const char* format, ...) __attribute__((format(printf, 1, 2)));

namespace tl::platform {
void WriteLogLine(std::string_view line);
}

// The same, for lines that carry whole strings (see FormatLogLine).
template <class... Args>
requires(tl::platform::log_format::kIsText<Args> || ...) void TLLog(const char* format,
                                                                    const Args&... arguments) {
  tl::platform::WriteLogLine(tl::platform::FormatLogLine(format, arguments...));
}
