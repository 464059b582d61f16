// BatterySource: re-reading the power supplies and telling a change from a new timestamp.
#include "platform/linux/power/battery_source.h"

#include <time.h>

namespace tl::linuxdev {

namespace {

bool SameReading(const BatteryReading& a, const BatteryReading& b) {
  if (a.present != b.present || a.gasGauge != b.gasGauge) return false;
  if (a.properties.size() != b.properties.size()) return false;
  for (auto i = a.properties.begin(), j = b.properties.begin(); i != a.properties.end(); ++i, ++j) {
    if (i->first != j->first) return false;
    if (i->first != "UpdateTime" && !(i->second == j->second)) return false;
  }
  return true;
}

// Seconds since boot, suspend included: how long a battery has been gone counts the time the
// machine slept.
double BootSeconds() {
  timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

}  // namespace

bool BatterySource::refresh() {
  return reading_.replace(gauge_.update(ReadSubsystem("power_supply", PowerSupplyAttributes()),
                                        BootSeconds(), wallClockSecond_()),
                          SameReading);
}

}  // namespace tl::linuxdev
