// The date formatter's remembered offsets against the platform's own answer for every instant.
#include <gtest/gtest.h>

#include <cstdio>
#include <random>

#include "platform/platform.h"
#include "sessions/tl_date_formatter.h"
#include "test_support.h"

namespace {

// The log's timestamp layout, printed from the platform's local time of the instant.
std::string Expected(int64_t at) {
  const auto t = tl::platform::Current().environment().localTime(at);
  const int offset = std::abs(t.utcOffsetSeconds);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d%c%02d%02d", t.year, t.month,
                t.day, t.hour, t.minute, t.second, t.utcOffsetSeconds < 0 ? '-' : '+',
                offset / 3600, offset / 60 % 60);
  return text;
}

TEST(DateFormatter, EveryInstantReadsAsThePlatformSaysWhateverTheOrder) {
  // Zones with daylight saving, with a half-hour change (Lord Howe), and offsets that are not
  // whole hours, so that hours begin and change at odd minutes of UTC.
  for (const char* zone : {"America/New_York", "Australia/Lord_Howe", "Asia/Kathmandu",
                           "Pacific/Chatham", "Europe/London", "UTC"}) {
    SCOPED_TRACE(zone);
    tl::testing::CurrentDevice device(tl::testing::Json{{"time_zone", zone}});
    TLDateFormatter formatter("en_US_POSIX", "yyyy-MM-dd'T'HH':'mm':'ssZZ");
    std::mt19937_64 random(7);
    std::vector<int64_t> instants = {0,
                                     -1,
                                     -86400,
                                     951782400 /* 2000-02-29 */,
                                     4102444800,
                                     int64_t{1} << 40,
                                     -(int64_t{1} << 40),
                                     4294967295};
    // Seconds around every change of offset in 2026, where a remembered hour could go stale.
    for (int64_t at = 1767225600; at < 1798761600; at += 1800) {
      if (device->environment().localTime(at).utcOffsetSeconds !=
          device->environment().localTime(at + 1800).utcOffsetSeconds) {
        for (int64_t d = -3700; d <= 3700; d += 1) instants.push_back(at + d);
      }
    }
    // Random instants over three centuries, interleaved with near repeats as a log visits them.
    for (int i = 0; i < 20000; ++i) {
      const int64_t at = static_cast<int64_t>(random() % 9'500'000'000) - 2'200'000'000;
      instants.push_back(at);
      instants.push_back(at + static_cast<int64_t>(random() % 7200));
    }
    std::shuffle(instants.begin() + 8, instants.end(), random);
    for (int64_t at : instants) {
      ASSERT_EQ(formatter.stringFromDate(at), Expected(at)) << "at " << at;
    }
  }
}

}  // namespace
