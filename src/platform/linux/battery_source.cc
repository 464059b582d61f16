// BatterySource: re-reading the power supplies and telling a change from a new timestamp.
#include "platform/linux/battery_source.h"

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

}  // namespace

bool BatterySource::refresh() {
  return reading_.replace(
      MapPowerSupplies(ReadSubsystem("power_supply", PowerSupplyAttributes()), wallClockSecond_()),
      SameReading);
}

}  // namespace tl::linuxdev
