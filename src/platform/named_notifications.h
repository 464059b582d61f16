// NamedNotifications: system-wide named notifications with a 64-bit state, and the thermal level.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "base/status.h"
#include "platform/registration.h"

namespace tl::platform {

class Queue;

// Status codes of the notification system.
inline constexpr int32_t kNotifyStatusInvalidName = 1;
inline constexpr int32_t kNotifyStatusInvalidToken = 2;
inline constexpr int32_t kNotifyStatusFailed = 1000000;

// Posted by the system whenever its thermal level changes or is re-evaluated.
inline constexpr char kThermalLevelNotification[] = "com.veltro.system.thermallevel";
// Posted when low-power mode changes; its state is 1 while low-power mode is on.
inline constexpr char kBatterySaverModeNotification[] = "com.veltro.system.batterysavermode";

// One registration for a name. Its token identifies it to handlers and to getState();
// destroying it cancels the registration.
class NotifyRegistration : public Registration {
 public:
  virtual int32_t token() const = 0;
};

// Handlers run on the queue given at registration, which must outlive the registration.
class NamedNotifications {
 public:
  virtual ~NamedNotifications() = default;
  // Receives the token of the registration that fired.
  using Handler = std::function<void(int32_t token)>;

  virtual Status registerDispatch(const std::string& name, Queue& queue, Handler handler,
                                  std::unique_ptr<NotifyRegistration>* out) = 0;
  // A registration for reading the state only; nothing is delivered.
  virtual Status registerCheck(const std::string& name,
                               std::unique_ptr<NotifyRegistration>* out) = 0;
  // The state of the name that token is registered for.
  virtual Status getState(int32_t token, uint64_t* state) = 0;

  // The system's current thermal level.
  virtual int64_t thermalLevel() = 0;
};

}  // namespace tl::platform
