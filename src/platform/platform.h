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

// One device. Each role documents the queue it calls back on; every role may be called from any
// queue.
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
