// UeventMonitor: one sd-device monitor filtered to the subsystems watched.
#include "platform/linux/loop/uevent_monitor.h"

#include "platform/linux/loop/bus.h"

namespace tl::linuxdev {

UeventMonitor::~UeventMonitor() {
  if (monitor_) sd_device_monitor_unref(monitor_);
}

void UeventMonitor::watch(const std::string& subsystem, std::function<void()> handler) {
  handlers_.emplace(subsystem, std::move(handler));
}

Status UeventMonitor::start() {
  if (handlers_.empty()) return Status::OK();
  // The events as udev passes them on after its rules: what every reader of the session sees,
  // and what a device's own rules may have added to.
  if (const int r = sd_device_monitor_new(&monitor_); r < 0) return ReturnStatus(r);
  for (auto it = handlers_.begin(); it != handlers_.end(); it = handlers_.upper_bound(it->first)) {
    sd_device_monitor_filter_add_match_subsystem_devtype(monitor_, it->first.c_str(), nullptr);
  }
  int r = sd_device_monitor_attach_event(monitor_, loop_.event());
  if (r >= 0) r = sd_device_monitor_start(monitor_, OnDevice, this);
  if (r < 0) {
    sd_device_monitor_unref(monitor_);
    monitor_ = nullptr;
  }
  return ReturnStatus(r);
}

int UeventMonitor::OnDevice(sd_device_monitor*, sd_device* device, void* self) {
  auto& monitor = *static_cast<UeventMonitor*>(self);
  monitor.loop_.assertOnLoopThread();
  const char* subsystem = nullptr;
  if (sd_device_get_subsystem(device, &subsystem) < 0 || !subsystem) return 0;
  auto [first, last] = monitor.handlers_.equal_range(subsystem);
  for (auto it = first; it != last; ++it) it->second();
  return 0;
}

}  // namespace tl::linuxdev
