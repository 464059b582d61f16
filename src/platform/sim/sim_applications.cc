// SimApplications: proxies from the apps data and delivery of monitor, workspace and activity
// events on the system's queues.
#include "platform/sim/sim_applications.h"

#include <algorithm>

namespace tl::sim {

using namespace platform;

class SimApplications::Monitor : public ApplicationStateMonitor {
 public:
  explicit Monitor(SimApplications& apps) : apps_(apps) { apps_.monitors_.push_back(this); }
  ~Monitor() override { std::erase(apps_.monitors_, this); }

  void setHandler(Handler handler) override {
    handler_ = handler ? std::make_shared<Handler>(std::move(handler)) : nullptr;
  }

  void applicationInfoForPid(int32_t pid, Handler completion) override {
    auto it = apps_.applicationInfo_.find(pid);
    Dictionary info = it == apps_.applicationInfo_.end() ? Dictionary{} : it->second;
    apps_.answerQueue_->async([completion = std::move(completion), info] { completion(info); });
  }

  void deliver(const Dictionary& stateInfo) {
    if (!handler_) return;
    auto handler = handler_;
    apps_.monitorQueue_->async([handler, stateInfo] { (*handler)(stateInfo); });
  }

 private:
  SimApplications& apps_;
  std::shared_ptr<Handler> handler_;
};

class SimApplications::Observation : public Registration {
 public:
  Observation(SimApplications& apps, WorkspaceObserver& observer)
      : apps_(apps), observer_(observer) {
    apps_.observers_.push_back(&observer_);
  }
  ~Observation() override { std::erase(apps_.observers_, &observer_); }

 private:
  SimApplications& apps_;
  WorkspaceObserver& observer_;
};

// Destroying it unregisters the activity, unless a later registration of the name replaced it.
class SimApplications::ActivityRegistration : public Registration {
 public:
  ActivityRegistration(SimApplications& apps, std::string name, std::shared_ptr<Handler> handler)
      : apps_(apps), name_(std::move(name)), handler_(std::move(handler)) {}
  ~ActivityRegistration() override {
    auto it = apps_.activities_.find(name_);
    if (it != apps_.activities_.end() && it->second.handler == handler_) {
      apps_.activities_.erase(it);
    }
  }

 private:
  SimApplications& apps_;
  std::string name_;
  std::shared_ptr<Handler> handler_;
};

SimApplications::SimApplications(SimContext context)
    : context_(context),
      monitorQueue_(std::make_unique<SimQueue>(context.scheduler, "system.appstate", true)),
      answerQueue_(std::make_unique<SimQueue>(context.scheduler, "system.appinfo", true)),
      workspaceQueue_(std::make_unique<SimQueue>(context.scheduler, "system.workspace", true)),
      activityQueue_(std::make_unique<SimQueue>(context.scheduler, "system.activity", true)) {}

SimApplications::~SimApplications() = default;

std::unique_ptr<ApplicationStateMonitor> SimApplications::createStateMonitor() {
  return std::make_unique<Monitor>(*this);
}

std::unique_ptr<Registration> SimApplications::addWorkspaceObserver(WorkspaceObserver& observer) {
  return std::make_unique<Observation>(*this, observer);
}

ProxyRef SimApplications::proxyForIdentifier(const std::string& bundleIdentifier) {
  for (const RSApplicationProxy& app : context_.state.apps) {
    if (app.bundleIdentifier == bundleIdentifier) {
      return std::make_shared<const RSApplicationProxy>(app);
    }
  }
  RSApplicationProxy unknown;
  unknown.bundleIdentifier = bundleIdentifier;
  return std::make_shared<const RSApplicationProxy>(std::move(unknown));
}

std::unique_ptr<Registration> SimApplications::registerActivity(const std::string& name,
                                                                const ActivityCriteria& criteria,
                                                                Handler handler) {
  auto shared = std::make_shared<Handler>(std::move(handler));
  activities_[name] = Activity{criteria, shared};
  activityQueue_->async([shared] { (*shared)(ActivityState::kCheckIn); });
  return std::make_unique<ActivityRegistration>(*this, name, shared);
}

void SimApplications::addProxy(RSApplicationProxy proxy) {
  auto& apps = context_.state.apps;
  for (RSApplicationProxy& app : apps) {
    if (app.bundleIdentifier == proxy.bundleIdentifier) {
      app = std::move(proxy);
      return;
    }
  }
  apps.push_back(std::move(proxy));
}

void SimApplications::reportState(const Dictionary& stateInfo) {
  context_.cpu.appState(stateInfo);
  for (Monitor* monitor : monitors_) monitor->deliver(stateInfo);
}

void SimApplications::setApplicationInfo(int32_t pid, Dictionary info) {
  applicationInfo_[pid] = std::move(info);
}

void SimApplications::workspaceNotice(Notice notice, const std::vector<std::string>& bundles) {
  std::vector<ProxyRef> proxies;
  for (const std::string& bundle : bundles) proxies.push_back(proxyForIdentifier(bundle));
  for (WorkspaceObserver* observer : observers_) {
    workspaceQueue_->async([observer, notice, proxies] {
      switch (notice) {
        case Notice::kInstalled:
          return observer->applicationsDidInstall(proxies);
        case Notice::kUninstalled:
          return observer->applicationsDidUninstall(proxies);
        case Notice::kInstallStarted:
          return observer->applicationInstallsDidStart(proxies);
        case Notice::kInstallFailed:
          return observer->applicationsDidFailToInstall(proxies);
        case Notice::kInstallCancelled:
          return observer->applicationInstallsDidCancel(proxies);
      }
    });
  }
}

bool SimApplications::runActivity(const std::string& name, ActivityState state) {
  auto it = activities_.find(name);
  if (it == activities_.end()) return false;
  auto handler = it->second.handler;
  activityQueue_->async([handler, state] { (*handler)(state); });
  return true;
}

std::optional<ActivityCriteria> SimApplications::activityCriteria(const std::string& name) const {
  auto it = activities_.find(name);
  if (it == activities_.end()) return std::nullopt;
  return it->second.criteria;
}

}  // namespace tl::sim
