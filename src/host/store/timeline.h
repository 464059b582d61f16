// Timeline: one row per power notification the daemon observed and per daemon start and stop,
// so that a report can draw the day and knows the stretches nobody recorded.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/store/sqlite.h"

namespace tl::host {

// What a row records. "start" and "stop" bound each stretch a daemon ran; the power events carry
// the device's base-state bits after them; "thermal" the new level; "daily_report" the moment a
// daily report (brightness, network) was sent.
inline constexpr char kEventStart[] = "start";
inline constexpr char kEventStop[] = "stop";
inline constexpr char kEventWake[] = "wake";
inline constexpr char kEventSleep[] = "sleep";
inline constexpr char kEventScreenOn[] = "screen_on";
inline constexpr char kEventScreenOff[] = "screen_off";
inline constexpr char kEventBattery[] = "battery";
inline constexpr char kEventLowPowerMode[] = "low_power_mode";
inline constexpr char kEventThermal[] = "thermal";
inline constexpr char kEventDailyReport[] = "daily_report";

// The bits of a base state: the device's power situation as five yes/no conditions.
inline constexpr int kStatePlugged = 1;
inline constexpr int kStateAwake = 2;
inline constexpr int kStateDisplay = 4;
inline constexpr int kStateCharging = 8;
inline constexpr int kStateLowPowerMode = 16;

struct TimelineRow {
  double at = 0;          // seconds since 1970
  std::string day;        // the device's local day, YYYY-MM-DD
  int32_t utcOffset = 0;  // seconds east of UTC at that moment
  std::string event;
  std::optional<int> state;           // base-state bits after the event
  std::optional<double> capacity;     // mAh
  std::optional<double> maxCapacity;  // mAh
  std::optional<double> level;        // percent of the full charge
  std::optional<double> voltage;      // mV
  std::optional<double> brightness;   // percent of full brightness
  std::optional<std::string> wakeReason;
  std::optional<int64_t> thermal;
};

class Timeline {
 public:
  // Creates the table when db does not have it.
  explicit Timeline(Database& db);

  void add(const TimelineRow& row);

 private:
  Statement insert_;
};

// The rows of a store in time order, one at a time; none when the store has no timeline.
void ForEachTimelineRow(Database& db, const std::function<void(TimelineRow& row)>& visit);
// The rows of a store in time order; none when the store has no timeline.
std::vector<TimelineRow> ReadTimeline(Database& db);
// How many rows the store's timeline has.
size_t CountTimelineRows(Database& db);

}  // namespace tl::host
