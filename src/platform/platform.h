// Platform: everything the module needs of the device, by role, and the process-wide accessor.
#pragma once

#include "platform/activity_scheduler.h"
#include "platform/applications.h"
#include "platform/clock.h"
#include "platform/device_registry.h"
#include "platform/dispatch.h"
#include "platform/environment.h"
#include "platform/file_system.h"
#include "platform/ipc.h"
#include "platform/kernel.h"
#include "platform/named_notifications.h"
#include "platform/notification_center.h"
#include "platform/statistics_client.h"
#include "platform/system_log.h"

namespace tl::platform {

// One device. A device implements every role below; the simulated device (platform/sim) is the
// reference for what each answers.
//
// - Calls: every role may be called from any queue. A call that can fail returns a Status (its
//   code from the role's own domain: errno for files, the registry's return codes, the
//   notification system's statuses); the few that keep a system call's own contract (sysctl,
//   resource usage, interface index, container lookup) say so where they are declared.
// - Callbacks: each registration names the queue its callbacks run on, and returns a
//   Registration; destroying it cancels the registration. A device must not call back after
//   that, and must not call back on a queue other than the one named.
// - Device facts that the module and every device share live beside the roles: the battery
//   class and message codes (device_registry.h), the backlight service and its brightness
//   (backlight.h), the battery-saver and thermal notification names (named_notifications.h),
//   the packet counters (packet_counters.h) and the device's fixed directories
//   (device_paths.h). A device delivers exactly these names, codes and layouts; a device whose
//   system has other sources adapts them to these.
// - Values: property dictionaries are Values; numbers keep their kind (an integer property is
//   an integer), as the module's conversions depend on it.
class Platform {
 public:
  virtual ~Platform() = default;
  virtual Clock& clock() = 0;
  virtual Dispatch& dispatch() = 0;
  virtual NamedNotifications& namedNotifications() = 0;
  virtual NotificationCenter& notificationCenter() = 0;
  virtual DeviceRegistry& registry() = 0;
  virtual SystemPower& systemPower() = 0;
  virtual Applications& applications() = 0;
  virtual ActivityScheduler& activities() = 0;
  virtual Kernel& kernel() = 0;
  virtual Environment& environment() = 0;
  virtual FileSystem& files() = 0;
  virtual Ipc& ipc() = 0;
  virtual MessageTransport& messages() = 0;
  virtual StatisticsClient& statistics() = 0;
  virtual SystemLog& log() = 0;
};

// The platform of this process. The host (or a test) makes one current before any module code
// runs and keeps it alive while the module may use it; like the device's own services it is
// process-wide.
Platform& Current();
void MakeCurrent(Platform* platform);

}  // namespace tl::platform
