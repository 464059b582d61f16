// Clock: the device's wall clock and its monotonic tick clock.
#pragma once

#include <cstdint>

namespace tl::platform {

// Ticks are converted to nanoseconds by numer / denom.
struct Timebase {
  uint32_t numer = 1;
  uint32_t denom = 1;
};

// Safe to call from any queue.
class Clock {
 public:
  virtual ~Clock() = default;
  // Wall-clock seconds since 1970-01-01 00:00:00 UTC.
  virtual double now() = 0;
  // The monotonic tick clock; it never goes back and keeps counting while the daemon restarts.
  virtual uint64_t absoluteTicks() = 0;
  virtual Timebase timebase() = 0;
};

}  // namespace tl::platform
