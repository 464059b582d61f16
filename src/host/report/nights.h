// Nights: each local night, 22:00 to 07:00, as the timeline and the power intervals tell it:
// time asleep and awake, battery lost, wakes and their reasons, heat, and a verdict.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/report/report_table.h"
#include "host/report/report_timeline.h"
#include "host/store/power_intervals.h"

namespace tl::host::report {

// A night runs from 22:00 on the evening before its day to 07:00 on its day, local time.
inline constexpr int kNightStartsHour = 22;
inline constexpr int kNightEndsHour = 7;
// A night counts only when the daemon recorded at least this share of it.
inline constexpr double kLeastRecordedShare = 0.5;
// The verdicts' thresholds: more wakes an hour than this is a wake loop; awake with the screen
// off for more than this share of the night is kept awake; this thermal level or more is hot;
// plugged in for more than this share of it (and nothing else to say) is on the charger.
inline constexpr double kWakeLoopPerHour = 10;
inline constexpr double kKeptAwakeShare = 0.25;
inline constexpr int kHotThermalLevel = 2;
inline constexpr double kOnChargerShare = 0.5;

struct NightWindow {
  std::string day;  // the local day the night ends on
  double from = 0;  // seconds since 1970
  double to = 0;
};

// The battery energy the intervals on battery drew within each night, each interval's share
// by how much of it lies within the night.
class NightEnergy {
 public:
  struct Sums {
    double drain = 0;          // mWh
    double asleepEnergy = 0;   // mWh, while asleep
    double asleepSeconds = 0;  // the time those intervals asleep covered
  };

  explicit NightEnergy(const std::vector<NightWindow>& windows);
  // interval: on battery, with the energy it is reckoned to have drawn.
  void add(const PowerInterval& interval);
  const std::vector<Sums>& sums() const { return sums_; }

 private:
  std::vector<std::pair<double, double>> windows_;  // sorted by start, apart
  std::vector<Sums> sums_;
};

struct Night {
  std::string day;
  double from = 0;
  double to = 0;
  int32_t utcOffset = 0;  // at its start
  double recorded = 0;    // seconds of it the daemon ran
  double asleep = 0;
  double awakeScreenOff = 0;
  double screenOn = 0;
  double plugged = 0;
  std::optional<double> drain;             // mWh; none when the store keeps no intervals
  std::optional<double> lostPercent;       // battery level at its start less at its end
  std::optional<double> percentPerHour;    // of the time recorded
  std::optional<double> asleepMilliwatts;  // mean drain while asleep
  int64_t wakes = 0;
  double wakesPerHour = 0;
  std::vector<std::pair<std::string, int64_t>> reasons;  // the three most frequent, most first
  std::optional<int32_t> thermalMax;
  std::string verdict;  // "asleep", "on charger", or "wake loop", "kept awake", "hot" joined
};

// The nights of windows (in time order, apart) that the daemon recorded enough of. points: the
// timeline in time order; reasons: its wake reasons by index; running: the stretches the daemon
// ran; energy: nullptr when the store keeps no intervals.
std::vector<Night> FindNights(const std::vector<NightWindow>& windows,
                              const std::vector<TimelinePoint>& points,
                              const std::vector<std::string>& reasons,
                              const std::vector<std::pair<double, double>>& running,
                              const NightEnergy* energy);

// "rtc 12, wlan 3".
std::string ReasonsText(const std::vector<std::pair<std::string, int64_t>>& reasons);

Table NightsTable(const std::vector<Night>& nights);

}  // namespace tl::host::report
