// DeviceMoment: the local time of a wall-clock reading.
#include "platform/device_moment.h"

#include <cmath>

#include "base/saturated_cast.h"

namespace tl::platform {

DeviceMoment MomentAt(double at, double wallClock, Environment& environment) {
  DeviceMoment moment;
  moment.at = at;
  moment.wallClock = wallClock;
  moment.local = environment.localTime(SaturatedCast<int64_t>(std::floor(wallClock)));
  return moment;
}

}  // namespace tl::platform
