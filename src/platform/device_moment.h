// DeviceMoment: one reading of the device's clocks, stamped on an output once so that every
// receiver files it at the same moment.
#pragma once

#include "platform/environment.h"

namespace tl::platform {

struct DeviceMoment {
  // Seconds on the device's output clock: since the trace's start on the simulated device,
  // since 1970 on a real one.
  double at = 0;
  // Wall-clock seconds since 1970.
  double wallClock = 0;
  // The wall clock in the device's zone: its local day and UTC offset.
  LocalTime local;
};

// The moment at on the output clock, whose wall clock reads wallClock.
DeviceMoment MomentAt(double at, double wallClock, Environment& environment);

}  // namespace tl::platform
