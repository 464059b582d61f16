// UeventMonitor: the kernel's device events, by subsystem, on the loop thread.
#pragma once

#include <systemd/sd-device.h>

#include <functional>
#include <map>
#include <string>

#include "base/status.h"
#include "platform/linux/loop/event_loop.h"

namespace tl::linuxdev {

// One netlink monitor of kernel uevents for every subsystem a source asks for. Handlers run on
// the loop thread and must only post work elsewhere.
class UeventMonitor {
 public:
  explicit UeventMonitor(EventLoop& loop) : loop_(loop) {}
  ~UeventMonitor();

  // Before start(): handler runs for every uevent of subsystem.
  void watch(const std::string& subsystem, std::function<void()> handler);
  // Starts receiving; false when the monitor cannot be made (no netlink in this sandbox), in
  // which case only the polling sees changes.
  Status start();

 private:
  static int OnDevice(sd_device_monitor* monitor, sd_device* device, void* self);

  EventLoop& loop_;
  sd_device_monitor* monitor_ = nullptr;
  std::multimap<std::string, std::function<void()>> handlers_;
};

}  // namespace tl::linuxdev
