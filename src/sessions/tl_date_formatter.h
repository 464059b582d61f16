// TLDateFormatter: formats wall-clock times with a fixed-pattern date format in the device's
// time zone.
#pragma once

#include <cstdint>
#include <string>

// Pattern letters: yyyy (or yy), MM, dd, HH, mm, ss (one letter: no padding) and Z or ZZ (the
// offset from UTC as a sign and four digits); text in single quotes is literal, '' is a quote,
// and any other character stands for itself. The locale only fixes the digits and calendar,
// which "en_US_POSIX" keeps to ASCII and Gregorian.
class TLDateFormatter {
 public:
  TLDateFormatter(std::string localeIdentifier, std::string dateFormat)
      : locale_(std::move(localeIdentifier)), format_(std::move(dateFormat)) {}

  void setDateFormat(std::string dateFormat) { format_ = std::move(dateFormat); }
  const std::string& dateFormat() const { return format_; }
  const std::string& locale() const { return locale_; }

  // secondsSince1970 in the device's time zone.
  std::string stringFromDate(int64_t secondsSince1970) const;

 private:
  std::string locale_;
  std::string format_;
};
