// LinuxClock: the wall clock and the monotonic clock, in nanosecond ticks.
#pragma once

#include "platform/clock.h"

namespace tl::linuxdev {

// Ticks are CLOCK_MONOTONIC nanoseconds: like the tick clock the module expects, they stand
// still while the system sleeps and never go back.
class LinuxClock : public platform::Clock {
 public:
  double now() override;
  uint64_t absoluteTicks() override;
  platform::Timebase timebase() override { return {1, 1}; }
};

}  // namespace tl::linuxdev
