// LinuxApplications: the application roles of the Linux device: run states from the compositor
// and the user manager, install notices from Flatpak, proxies from the application catalog.
#pragma once

#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "platform/applications.h"
#include "platform/dispatch.h"
#include "platform/linux/app_catalog.h"
#include "platform/linux/app_run_states.h"
#include "platform/linux/bus.h"
#include "platform/linux/event_loop.h"
#include "platform/linux/guarded.h"
#include "platform/linux/install_notices.h"

namespace tl::linuxdev {

class PidWatch;
class UserUnits;
class WlrToplevels;

struct ApplicationSources {
  sd_bus* sessionBus = nullptr;
  std::string sysRoot = "/sys";
  std::string procRoot = "/proc";
  std::string stateDirectory;  // where the applications seen installed are kept
  std::vector<FlatpakInstallation> flatpak = DefaultFlatpakInstallations();
  std::function<CatalogSources(std::vector<FlatpakRef>)> catalogSources = DefaultCatalogSources;
};

class LinuxApplications : public platform::Applications {
 public:
  // State changes are delivered on monitorQueue, answers for a pid on answerQueue, install
  // notices on workspaceQueue.
  LinuxApplications(EventLoop& loop, platform::Queue& monitorQueue, platform::Queue& answerQueue,
                    platform::Queue& workspaceQueue, ApplicationSources sources);
  ~LinuxApplications() override;

  // Connects to the compositor and the user manager and reads the installations (blocking,
  // before the loop runs); one line per source, as the daemon reports them.
  std::vector<std::string> start();
  // Re-reads what may change unannounced: units' processes, the installations, a compositor
  // that was not there at start.
  void refresh();

  // A new monitor's handler first hears the state of every application running then.
  std::unique_ptr<platform::ApplicationStateMonitor> createStateMonitor() override;
  std::unique_ptr<platform::Registration> addWorkspaceObserver(
      platform::WorkspaceObserver& observer) override;
  platform::ProxyRef proxyForIdentifier(const std::string& bundleIdentifier) override;

 private:
  class Monitor;
  class Observation;
  struct MonitorCell;

  void report(const std::vector<AppStateChange>& changes);
  void watchPids(const AppUnit& unit);
  void installationsChanged();
  void notify(const std::vector<InstallNotice>& notices, const AppCatalog& before,
              const AppCatalog& after);
  std::shared_ptr<const AppCatalog> catalog() const;
  void loadEverInstalled();
  void keepEverInstalled() const;
  static int OnInstallationChanged(sd_event_source*, const struct inotify_event* event, void* self);

  EventLoop& loop_;
  platform::Queue& monitorQueue_;
  platform::Queue& answerQueue_;
  platform::Queue& workspaceQueue_;
  ApplicationSources sources_;

  Guarded<std::shared_ptr<const AppCatalog>> catalog_;
  std::mutex mutex_;  // guards monitors_ and observers_
  std::vector<std::shared_ptr<MonitorCell>> monitors_;
  std::vector<platform::WorkspaceObserver*> observers_;

  // On the loop thread only.
  AppRunStates states_;
  std::unique_ptr<PidWatch> pids_;
  std::unique_ptr<UserUnits> units_;
  std::unique_ptr<WlrToplevels> toplevels_;
  std::vector<std::unique_ptr<sd_event_source, EventSourceDeleter>> installationWatches_;
  InstalledVersions installed_;
  std::set<std::string> everInstalled_;
};

}  // namespace tl::linuxdev
