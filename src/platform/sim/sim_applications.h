// SimApplications: registry proxies, the run-state monitor, the install workspace and the
// background activity scheduler of the simulated device.
#pragma once

#include <map>
#include <memory>
#include <vector>

#include "platform/activity_scheduler.h"
#include "platform/applications.h"
#include "platform/sim/sim_context.h"

namespace tl::sim {

class SimApplications : public platform::Applications, public platform::ActivityScheduler {
 public:
  enum class Notice {
    kInstalled,
    kUninstalled,
    kInstallStarted,
    kInstallFailed,
    kInstallCancelled
  };

  explicit SimApplications(SimContext context);
  ~SimApplications() override;

  // Applications.
  std::unique_ptr<platform::ApplicationStateMonitor> createStateMonitor() override;
  std::unique_ptr<platform::Registration> addWorkspaceObserver(
      platform::WorkspaceObserver& observer) override;
  platform::ProxyRef proxyForIdentifier(const std::string& bundleIdentifier) override;

  // ActivityScheduler.
  std::unique_ptr<platform::Registration> registerActivity(
      const std::string& name, const platform::ActivityCriteria& criteria,
      Handler handler) override;

  // The system side.
  void addProxy(platform::RSApplicationProxy proxy);  // adds, or replaces the bundle's
  void reportState(const platform::Dictionary& stateInfo);
  void setApplicationInfo(int32_t pid, platform::Dictionary info);
  void workspaceNotice(Notice notice, const std::vector<std::string>& bundles);
  // false when no activity of that name is registered.
  bool runActivity(const std::string& name, platform::ActivityState state);

  std::optional<platform::ActivityCriteria> activityCriteria(const std::string& name) const;
  size_t monitors() const { return monitors_.size(); }
  size_t workspaceObservers() const { return observers_.size(); }

 private:
  class Monitor;
  class Observation;
  class ActivityRegistration;
  struct Activity {
    platform::ActivityCriteria criteria;
    std::shared_ptr<Handler> handler;
  };

  SimContext context_;
  // The system's own delivery queues.
  std::unique_ptr<SimQueue> monitorQueue_;
  std::unique_ptr<SimQueue> answerQueue_;
  std::unique_ptr<SimQueue> workspaceQueue_;
  std::unique_ptr<SimQueue> activityQueue_;
  std::vector<Monitor*> monitors_;
  std::vector<platform::WorkspaceObserver*> observers_;
  std::map<int32_t, platform::Dictionary> applicationInfo_;
  std::map<std::string, Activity> activities_;
};

}  // namespace tl::sim
