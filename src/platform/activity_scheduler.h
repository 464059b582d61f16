// ActivityScheduler: background activities that the system runs when conditions allow.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/registration.h"

namespace tl::platform {

enum class ActivityState {
  kCheckIn = 0,
  kWait = 1,
  kRun = 2,
  kDefer = 3,
  kContinue = 4,
  kDone = 5
};

struct ActivityCriteria {
  int64_t intervalSeconds = 0;
  int64_t gracePeriodSeconds = 0;
  bool requiresScreenSleep = false;
  bool repeating = false;
};

// The handler runs on a queue of the scheduler's, once with kCheckIn at registration and then
// each time the activity's state changes.
class ActivityScheduler {
 public:
  virtual ~ActivityScheduler() = default;
  using Handler = std::function<void(ActivityState state)>;
  // Destroying the registration unregisters the activity.
  virtual std::unique_ptr<Registration> registerActivity(const std::string& name,
                                                         const ActivityCriteria& criteria,
                                                         Handler handler) = 0;
};

}  // namespace tl::platform
