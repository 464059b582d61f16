// Registration: what a platform registration returns; destroying it cancels the registration.
#pragma once

namespace tl::platform {

// Every registration of the platform (named notifications, interest notifications, system power,
// observers, activities, timers, memory-pressure sources) is an object: holding it keeps the
// registration, destroying it cancels it. Whatever a registration calls back into must outlive
// it, or be reached through a weak reference (tl::WeakBinder).
class Registration {
 public:
  virtual ~Registration() = default;
};

}  // namespace tl::platform
