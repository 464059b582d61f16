// The report's timeline points: each row of the store's timeline, kept small.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

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
  uint16_t wakeReason = 0;       // index into Report::wakeReasons; 0 for none
  std::optional<int16_t> state;  // base-state bits after the event
  std::optional<float> level;    // percent of the full charge
  std::optional<int16_t> thermal;
};

// How much of [from, to) the stretches (apart from one another) cover, in seconds.
inline double Overlap(const std::vector<std::pair<double, double>>& stretches, double from,
                      double to) {
  double total = 0;
  for (const auto& [a, b] : stretches) total += std::max(0.0, std::min(b, to) - std::max(a, from));
  return total;
}

// What a page draws of the timeline: each change of state, and the battery level when the state
// changes with it or at most every half hour (it moves slowly, and a year of every reading
// would not fit a page). Fed the points in time order.
class PageSampler {
 public:
  static constexpr double kLevelEvery = 1800;

  // The state after p when it changed (-1: unknown after a stop).
  std::optional<int> state(const TimelinePoint& p) {
    const int now = p.event == Event::kStop ? -1 : p.state.value_or(lastState_);
    if (now == lastState_ || now == kNone) return std::nullopt;
    lastState_ = now;
    return now;
  }
  // p's level when the page draws it; call after state(p), with whether the state changed.
  std::optional<float> level(const TimelinePoint& p, bool stateChanged) {
    if (!p.level || *p.level == lastLevel_) return std::nullopt;
    if (!stateChanged && p.at - lastLevelAt_ < kLevelEvery) return std::nullopt;
    lastLevel_ = *p.level;
    lastLevelAt_ = p.at;
    return p.level;
  }

 private:
  static constexpr int kNone = -2;
  int lastState_ = kNone;
  float lastLevel_ = -1;
  double lastLevelAt_ = -1e18;
};

}  // namespace tl::host::report
