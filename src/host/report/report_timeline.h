// The report's timeline points: each row of the store's timeline, kept small.
#pragma once

#include <cstdint>
#include <optional>

namespace tl::host::report {

// What a timeline point records, as the store names it (EventName); a name the store should not
// hold reads as kOther.
enum class Event : uint8_t {
  kStart,
  kStop,
  kWake,
  kSleep,
  kScreenOn,
  kScreenOff,
  kBattery,
  kLowPowerMode,
  kThermal,
  kDailyReport,
  kOther
};
const char* EventName(Event event);

// A point of the timeline, as the daemon recorded it, kept small: a year holds a million.
struct TimelinePoint {
  double at = 0;  // seconds since 1970
  int32_t utcOffset = 0;
  Event event = Event::kOther;
  uint16_t wakeReason = 0;     // index into Report::wakeReasons; 0 for none
  std::optional<int> state;    // base-state bits after the event
  std::optional<float> level;  // percent of the full charge
  std::optional<int32_t> thermal;
};

}  // namespace tl::host::report
