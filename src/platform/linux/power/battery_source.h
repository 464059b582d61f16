// BatterySource: the system battery as the power supplies in sysfs show it, kept current.
#pragma once

#include <functional>

#include "platform/linux/loop/guarded.h"
#include "platform/linux/power/battery_gauge.h"

namespace tl::linuxdev {

// Reads the power supplies on the loop thread (at start, on each of their uevents, and on the
// polling timer), passes them through the gauge, and keeps the last reading for any queue to
// read.
class BatterySource {
 public:
  // Reads the supplies once. log takes the gauge's lines (refused values, batteries gone and
  // back, changes of gauge).
  BatterySource(std::function<int64_t()> wallClockSecond, BatteryGauge::Log log)
      : wallClockSecond_(std::move(wallClockSecond)), gauge_(std::move(log)) {
    refresh();
  }

  // Reads anew; true when anything but the reading's time changed.
  bool refresh();
  BatteryReading reading() const { return reading_.get(); }

 private:
  std::function<int64_t()> wallClockSecond_;
  BatteryGauge gauge_;  // the loop thread's
  Guarded<BatteryReading> reading_;
};

}  // namespace tl::linuxdev
