// The names the module's statistics are stored under that the daemon's readers look for: one
// text each, for the module that writes them and the store, report and timeline that read them.
#pragma once

#include <cstdint>

namespace tl::platform {

// "com.veltro.power.state.<state>.<measure>" and "com.veltro.power.state.<level>.LPM.<change>".
inline constexpr char kPowerStateKeyPrefix[] = "com.veltro.power.state.";
// "com.veltro.power.wake_reasons.<reason>", and the count of wakes.
inline constexpr char kWakeReasonKeyPrefix[] = "com.veltro.power.wake_reasons.";
inline constexpr char kWakeCountKey[] = "com.veltro.power.wakecount";
// "com.veltro.power.netstats.<interface>.<counter>".
inline constexpr char kNetstatsKeyPrefix[] = "com.veltro.power.netstats.";
// "com.veltro.power.backlight.values.<low>_<high>": seconds at each brightness bucket.
inline constexpr char kBrightnessHistogramKeyPrefix[] = "com.veltro.power.backlight.values.";
// A brightness sampled at every power commit: a sample, not an amount.
inline constexpr char kBacklightUserSettingKey[] = "com.veltro.power.backlight.usersetting";
// The thermal level at each of its changes: a sample, not an amount.
inline constexpr char kThermalLevelsKey[] = "com.veltro.dovetop.thermalLevels";

// The daemon's daily-report service, which the module's activated-apps report is sent to, and
// the named notification that asks the module for the day's reports.
inline constexpr char kDailyReportService[] = "com.veltro.tallyd.tldaily";
inline constexpr char kDailyReportTrigger[] = "com.veltro.tallyd.tldaily.logging";

}  // namespace tl::platform
