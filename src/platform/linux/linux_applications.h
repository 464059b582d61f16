// LinuxApplications: the application side of the Linux device, until its sources exist: nothing
// runs, nothing is installed, and the background activities only check in.
#pragma once

#include "platform/activity_scheduler.h"
#include "platform/applications.h"
#include "platform/dispatch.h"

namespace tl::linuxdev {

class LinuxApplications : public platform::Applications, public platform::ActivityScheduler {
 public:
  // Answers and check-ins are delivered on queue.
  explicit LinuxApplications(platform::Queue& queue) : queue_(queue) {}

  // A monitor that reports no application; asked for a pid, it answers that it knows none.
  std::unique_ptr<platform::ApplicationStateMonitor> createStateMonitor() override;
  // No install notices arrive.
  std::unique_ptr<platform::Registration> addWorkspaceObserver(
      platform::WorkspaceObserver& observer) override;
  platform::ProxyRef proxyForIdentifier(const std::string& bundleIdentifier) override;

  // The handler checks in once; the activity never runs.
  std::unique_ptr<platform::Registration> registerActivity(const std::string& name,
                                                           const platform::ActivityCriteria&,
                                                           Handler handler) override;

 private:
  platform::Queue& queue_;
};

}  // namespace tl::linuxdev
