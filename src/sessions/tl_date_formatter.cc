// TLDateFormatter: pattern expansion over the platform's local time.
#include "sessions/tl_date_formatter.h"

#include <charconv>
#include <cstdlib>

#include "platform/platform.h"

namespace {

// value (0 or more) with at least width digits; every log event formats a date, so no printf.
void AppendNumber(std::string& out, int value, int width) {
  char digits[16];
  char* end = std::to_chars(digits, digits + sizeof digits, value).ptr;
  for (int pad = width - static_cast<int>(end - digits); pad > 0; --pad) out += '0';
  out.append(digits, end);
}

}  // namespace

std::string TLDateFormatter::stringFromDate(int64_t secondsSince1970) const {
  const tl::platform::LocalTime t =
      tl::platform::Current().environment().localTime(secondsSince1970);
  std::string out;
  for (size_t i = 0; i < format_.size();) {
    char c = format_[i];
    if (c == '\'') {
      // Quoted literal text; '' is one quote.
      if (i + 1 < format_.size() && format_[i + 1] == '\'') {
        out += '\'';
        i += 2;
        continue;
      }
      size_t end = format_.find('\'', i + 1);
      if (end == std::string::npos) end = format_.size();
      out.append(format_, i + 1, end - i - 1);
      i = end + 1;
      continue;
    }
    size_t run = 1;
    while (i + run < format_.size() && format_[i + run] == c) ++run;
    int width = static_cast<int>(run);
    switch (c) {
      case 'y':
        AppendNumber(out, run == 2 ? t.year % 100 : t.year, width);
        break;
      case 'M':
        AppendNumber(out, t.month, width);
        break;
      case 'd':
        AppendNumber(out, t.day, width);
        break;
      case 'H':
        AppendNumber(out, t.hour, width);
        break;
      case 'm':
        AppendNumber(out, t.minute, width);
        break;
      case 's':
        AppendNumber(out, t.second, width);
        break;
      case 'Z': {
        int offset = t.utcOffsetSeconds;
        out += offset < 0 ? '-' : '+';
        offset = std::abs(offset);
        AppendNumber(out, offset / 3600, 2);
        AppendNumber(out, offset / 60 % 60, 2);
        break;
      }
      default:
        out.append(run, c);
        break;
    }
    i += run;
  }
  return out;
}
