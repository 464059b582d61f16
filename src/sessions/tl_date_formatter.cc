// TLDateFormatter: pattern expansion over the platform's local time.
#include "sessions/tl_date_formatter.h"

#include <charconv>
#include <cstdlib>

#include "platform/platform.h"

namespace {

constexpr int64_t kSecondsPerHour = 3600;
constexpr int64_t kSecondsPerDay = 86400;
// Beyond this many seconds from 1970 (about 34,000 years) the platform answers every instant.
constexpr int64_t kCalendarLimit = int64_t{1} << 40;

int64_t FloorDiv(int64_t a, int64_t b) { return a / b - (a % b != 0 && (a < 0) != (b < 0)); }

// The proleptic Gregorian date and time of day of a count of local seconds since 1970.
tl::platform::LocalTime CivilTime(int64_t localSeconds, int32_t utcOffsetSeconds) {
  const int64_t days = FloorDiv(localSeconds, kSecondsPerDay);
  const int64_t ofDay = localSeconds - days * kSecondsPerDay;
  // Days to year, month and day, counting years from March so that a leap day falls last.
  const int64_t z = days + 719468;
  const int64_t era = FloorDiv(z, 146097);
  const int64_t dayOfEra = z - era * 146097;
  const int64_t yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const int64_t shiftedMonth = (5 * dayOfYear + 2) / 153;
  const int day = static_cast<int>(dayOfYear - (153 * shiftedMonth + 2) / 5 + 1);
  const int month = static_cast<int>(shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9);
  const int year = static_cast<int>(yearOfEra + era * 400 + (month <= 2));
  return {year,
          month,
          day,
          static_cast<int>(ofDay / 3600),
          static_cast<int>(ofDay / 60 % 60),
          static_cast<int>(ofDay % 60),
          utcOffsetSeconds};
}

// value with at least width digits; every log event formats a date, so no printf.
void AppendNumber(std::string& out, int value, int width) {
  if (width == 2 && value >= 0 && value < 100) {
    const char digits[2] = {static_cast<char>('0' + value / 10),
                            static_cast<char>('0' + value % 10)};
    out.append(digits, 2);
    return;
  }
  char digits[16];
  char* end = std::to_chars(digits, digits + sizeof digits, value).ptr;
  const int pad = width - static_cast<int>(end - digits);
  if (pad > 0) out.append(static_cast<size_t>(pad), '0');
  out.append(digits, end);
}

}  // namespace

tl::platform::LocalTime TLDateFormatter::localTime(int64_t secondsSince1970) const {
  auto& environment = tl::platform::Current().environment();
  if (secondsSince1970 <= -kCalendarLimit || secondsSince1970 >= kCalendarLimit) {
    return environment.localTime(secondsSince1970);
  }
  const int64_t hour = FloorDiv(secondsSince1970, kSecondsPerHour);
  HourOffset& slot = offsets_[static_cast<uint64_t>(hour) % offsets_.size()];
  if (slot.hour != hour) {
    const int64_t start = hour * kSecondsPerHour;
    const tl::platform::LocalTime first = environment.localTime(start);
    const tl::platform::LocalTime last = environment.localTime(start + kSecondsPerHour - 1);
    // An hour in which the offset changes is asked about instant by instant.
    if (first.utcOffsetSeconds != last.utcOffsetSeconds) {
      return environment.localTime(secondsSince1970);
    }
    slot = {hour, first.utcOffsetSeconds};
  }
  return CivilTime(secondsSince1970 + slot.utcOffsetSeconds, slot.utcOffsetSeconds);
}

std::string TLDateFormatter::stringFromDate(int64_t secondsSince1970) const {
  std::string out;
  appendDate(out, secondsSince1970);
  return out;
}

void TLDateFormatter::setDateFormat(std::string dateFormat) {
  format_ = std::move(dateFormat);
  pieces_.clear();
  auto literal = [&](std::string_view text) {
    if (pieces_.empty() || pieces_.back().letter != 0) pieces_.push_back({});
    pieces_.back().text += text;
  };
  for (size_t i = 0; i < format_.size();) {
    const char c = format_[i];
    if (c == '\'') {
      // Quoted literal text; '' is one quote.
      if (i + 1 < format_.size() && format_[i + 1] == '\'') {
        literal("'");
        i += 2;
        continue;
      }
      size_t end = format_.find('\'', i + 1);
      if (end == std::string::npos) end = format_.size();
      literal(std::string_view(format_).substr(i + 1, end - i - 1));
      i = end + 1;
      continue;
    }
    size_t run = 1;
    while (i + run < format_.size() && format_[i + run] == c) ++run;
    if (std::string_view("yMdHmsZ").find(c) == std::string_view::npos) {
      literal(std::string(run, c));
    } else {
      pieces_.push_back({c, static_cast<int>(run), {}});
    }
    i += run;
  }
}

void TLDateFormatter::appendDate(std::string& out, int64_t secondsSince1970) const {
  const tl::platform::LocalTime t = localTime(secondsSince1970);
  for (const Piece& piece : pieces_) {
    const int width = piece.width;
    switch (piece.letter) {
      case 0:
        out += piece.text;
        break;
      case 'y':
        AppendNumber(out, width == 2 ? t.year % 100 : t.year, width);
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
    }
  }
}
