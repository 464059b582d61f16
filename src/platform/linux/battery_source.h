// BatterySource: the system battery as the power supplies in sysfs show it, kept current.
#pragma once

#include <functional>

#include "platform/linux/guarded.h"
#include "platform/linux/power_supply.h"

namespace tl::linuxdev {

// Reads the power supplies on the loop thread (at start, on each of their uevents, and on the
// polling timer) and keeps the last reading for any queue to read.
class BatterySource {
 public:
  // Reads the supplies once.
  explicit BatterySource(std::function<int64_t()> wallClockSecond)
      : wallClockSecond_(std::move(wallClockSecond)) {
    refresh();
  }

  // Reads anew; true when anything but the reading's time changed.
  bool refresh();
  BatteryReading reading() const { return reading_.get(); }

 private:
  std::function<int64_t()> wallClockSecond_;
  Guarded<BatteryReading> reading_;
};

}  // namespace tl::linuxdev
