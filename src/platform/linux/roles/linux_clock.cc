// LinuxClock: clock_gettime.
#include "platform/linux/roles/linux_clock.h"

#include <time.h>

namespace tl::linuxdev {

double LinuxClock::now() {
  struct timespec ts;
  ::clock_gettime(CLOCK_REALTIME, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

uint64_t LinuxClock::absoluteTicks() {
  struct timespec ts;
  ::clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<uint64_t>(ts.tv_sec) * 1000000000ULL + static_cast<uint64_t>(ts.tv_nsec);
}

}  // namespace tl::linuxdev
