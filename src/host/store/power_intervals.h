// PowerIntervals: the raw facts of each interval between two power commits: its measured
// energy and power state, and what each application and the whole device did with the CPU in
// it. Attribution is computed from them when read, so a better model re-attributes old days.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/store/sqlite.h"
#include "platform/cpu_usage.h"
#include "platform/device_moment.h"
#include "platform/statistics_client.h"
#include "platform/value.h"

namespace tl::host {

// One application in one interval; a time or CPU it did not have is 0. CPU is nullopt when a
// reading of it failed within the interval.
struct IntervalApp {
  std::string bundle;
  double foregroundSeconds = 0;
  double backgroundSeconds = 0;
  std::optional<double> foregroundCpu;
  std::optional<double> backgroundCpu;
};

struct PowerInterval {
  int64_t id = 0;
  double at = 0;  // the commit that ended it, seconds since 1970
  std::string day;
  int32_t utcOffset = 0;
  double duration = 0;        // seconds, as the commit booked it
  double energy = 0;          // mWh, positive for a drain, as the commit booked it
  bool plugged = false;       // plugged in (the energy is then not the battery's drain)
  std::optional<bool> awake;  // not told while plugged in
  bool screen = false;
  double brightness = 0;            // percent of full, at the interval's start
  std::optional<double> deviceCpu;  // CPU seconds of the whole device, applications included
  std::vector<IntervalApp> apps;
};

// Follows the power commits the module sends and records each interval. A commit that booked
// no time and no energy (a second event in the same whole second) records nothing: what the
// CPU did then goes to the next interval.
class PowerIntervals {
 public:
  // cpu, when given, is read at every commit.
  PowerIntervals(Database& db, platform::CpuUsage* cpu);

  // A batch the module sent; power commits are recognised by their keys.
  void batch(const platform::DeviceMoment& moment, const platform::KeyValues& keys);
  // The daily report was sent: the device's counters are read too, for the next interval.
  void dailyReport() {
    if (cpu_) cpu_->refresh();
  }

 private:
  void write(const PowerInterval& interval);

  Database& db_;
  platform::CpuUsage* cpu_;
  Statement insertInterval_;
  Statement insertApp_;
  bool counting_ = false;     // the device's count was read once: the next reading is a difference
  platform::CpuUse reading_;  // reused: its storage outlives each commit
  std::optional<double> lastDeviceCpu_;
  std::optional<double> lastBrightness_;
};

// The intervals of the store in the order they were committed, with their applications, a run
// of one local day at a time; nothing when the store has no such table.
void ForEachIntervalDay(Database& db,
                        const std::function<void(std::vector<PowerInterval>& day)>& visit);
// Every interval of the store in the order they were committed.
std::vector<PowerInterval> ReadPowerIntervals(Database& db);

}  // namespace tl::host
