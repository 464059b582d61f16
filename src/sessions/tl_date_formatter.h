// TLDateFormatter: formats wall-clock times with a fixed-pattern date format in the device's
// time zone.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/environment.h"

// Pattern letters: yyyy (or yy), MM, dd, HH, mm, ss (one letter: no padding) and Z or ZZ (the
// offset from UTC as a sign and four digits); text in single quotes is literal, '' is a quote,
// and any other character stands for itself. The locale only fixes the digits and calendar,
// which "en_US_POSIX" keeps to ASCII and Gregorian.
//
// A formatter asks the platform for the time zone's offset once per hour of UTC that it formats
// and remembers the answer, so it belongs to one piece of work (one session log) during which
// the device's time zone is taken as fixed.
class TLDateFormatter {
 public:
  TLDateFormatter(std::string localeIdentifier, std::string dateFormat)
      : locale_(std::move(localeIdentifier)) {
    setDateFormat(std::move(dateFormat));
  }

  void setDateFormat(std::string dateFormat);
  const std::string& dateFormat() const { return format_; }
  const std::string& locale() const { return locale_; }

  // secondsSince1970 in the device's time zone.
  std::string stringFromDate(int64_t secondsSince1970) const;
  // The same text, appended to out.
  void appendDate(std::string& out, int64_t secondsSince1970) const;

 private:
  // The local time of an instant, through the offsets remembered per hour.
  tl::platform::LocalTime localTime(int64_t secondsSince1970) const;

  // The pattern read once: a run of one pattern letter (its width), or literal text.
  struct Piece {
    char letter = 0;  // 0: literal text
    int width = 0;
    std::string text;
  };

  struct HourOffset {
    int64_t hour = INT64_MIN;  // seconds since 1970 / 3600, rounded down; INT64_MIN: empty
    int32_t utcOffsetSeconds = 0;
  };
  std::string locale_;
  std::string format_;
  std::vector<Piece> pieces_;
  // Direct-mapped by hour: a period's events span a few dozen hours, visited bundle by bundle.
  mutable std::array<HourOffset, 64> offsets_{};
};
