// NotifyService: the daemon's name on the session bus, through which `tallyd notify` posts
// system-wide named notifications.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/linux/loop/bus.h"

namespace tl::linuxdev {

inline constexpr char kDaemonBusName[] = "com.veltro.tallyd";
inline constexpr char kDaemonObjectPath[] = "/com/veltro/tallyd";
inline constexpr char kDaemonInterface[] = "com.veltro.tallyd.Notifications";
// Post(s name, t state): sets the name's state and delivers it to its registrations.
inline constexpr char kPostMethod[] = "Post";

class NotifyService {
 public:
  // post runs on the loop thread.
  NotifyService(sd_bus* sessionBus, std::function<void(const std::string&, uint64_t)> post);

  // Takes the name (blocking; before the loop runs); false when the bus is missing or another
  // daemon holds it.
  Status start();

 private:
  static int OnPost(sd_bus_message* message, void* self, sd_bus_error* error);
  static const sd_bus_vtable kVTable[];

  sd_bus* bus_;
  std::function<void(const std::string&, uint64_t)> post_;
  SlotPtr object_;
};

// Posts through a running daemon; what went wrong, or "" when it was delivered.
std::string PostToDaemon(const std::string& name, uint64_t state);

}  // namespace tl::linuxdev
