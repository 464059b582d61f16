// StatsDaemon: the statistics daemon's side of what the module sends: statistics folded into the
// store by local day and by meaning, the daily-report service's messages kept as reports, and
// the thermal steps and daily-report moments added to the timeline.
#pragma once

#include <string>

#include "host/store/daily_reports.h"
#include "host/store/power_intervals.h"
#include "host/store/power_timeline.h"
#include "host/store/stats_store.h"
#include "host/store/timeline.h"
#include "platform/output_sink.h"
#include "platform/statistics_keys.h"

namespace tl::host {

using platform::kBacklightUserSettingKey;
using platform::kBrightnessHistogramKeyPrefix;
using platform::kDailyReportService;
using platform::kDailyReportTrigger;
using platform::kNetstatsKeyPrefix;
using platform::kPowerStateKeyPrefix;
using platform::kThermalLevelsKey;
using platform::kWakeCountKey;
using platform::kWakeReasonKeyPrefix;

// The value of a low-power-mode "24hr" energy key for the condition that is not current.
inline constexpr int64_t kNotApplicable = -1000000;

// A scalar add adds to the key's value of the local day and a distribution push records a
// sample; a batch adds its first dictionary as scalars and samples its second. Two kinds of
// value are folded by what they mean: the "24hr" energies' not-applicable marker is never
// added, and the backlight user setting, a brightness, is a sample.
class StatsDaemon : public platform::OutputSink {
 public:
  // Each output is filed under the local day of the moment the device stamped it with.
  // timeline, when given, receives the thermal steps and the moments daily reports are sent;
  // intervals, when given, each power commit.
  StatsDaemon(StatsStore& store, DailyReports& reports, Timeline* timeline,
              PowerIntervals* intervals = nullptr)
      : store_(store), reports_(reports), timeline_(timeline), intervals_(intervals) {}

  // Starts recording power commits into intervals (before any arrives).
  void recordIntervals(PowerIntervals* intervals) { intervals_ = intervals; }

  void scalar(const DeviceMoment& moment, std::string_view key, int64_t value) override;
  void distribution(const DeviceMoment& moment, std::string_view key, double value) override;
  void batch(const DeviceMoment& moment, const platform::KeyValues* first,
             const platform::KeyValues* second) override;
  void ipc(const DeviceMoment& moment, const std::string& service,
           const platform::WispObject& message) override;

 private:
  // Folds one key into the store's day in use.
  void fold(std::string_view key, const platform::Value& value);
  void addToTimeline(const DeviceMoment& moment, const char* event, std::optional<int64_t> level);

  StatsStore& store_;
  DailyReports& reports_;
  Timeline* timeline_;
  PowerIntervals* intervals_;
};

// Whether key is a low-power-mode "24hr" energy key.
bool IsLowPowerModeDayKey(std::string_view key);

}  // namespace tl::host
