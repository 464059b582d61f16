// NamedNotifications: system-wide named notifications with a 64-bit state, and the thermal level.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace tl::platform {

class Queue;

inline constexpr uint32_t kNotifyStatusOk = 0;
inline constexpr uint32_t kNotifyStatusInvalidName = 1;
inline constexpr uint32_t kNotifyStatusInvalidToken = 2;
inline constexpr uint32_t kNotifyStatusFailed = 1000000;

// Posted by the system whenever its thermal level changes or is re-evaluated.
inline constexpr char kThermalLevelNotification[] = "com.veltro.system.thermallevel";

// Registrations live until cancelled; their handlers run on the queue given at registration.
class NamedNotifications {
 public:
  virtual ~NamedNotifications() = default;
  using Handler = std::function<void(int32_t token)>;

  virtual uint32_t registerDispatch(const std::string& name, int32_t* out_token, Queue& queue,
                                    Handler handler) = 0;
  // A token for reading the state only; nothing is delivered.
  virtual uint32_t registerCheck(const std::string& name, int32_t* out_token) = 0;
  virtual uint32_t getState(int32_t token, uint64_t* out_state) = 0;
  virtual uint32_t cancel(int32_t token) = 0;

  // The system's current thermal level.
  virtual int64_t thermalLevel() = 0;
};

}  // namespace tl::platform
