// LinuxApplications: the application roles of the Linux device: run states from the compositor
// and the user manager, install notices from Flatpak, proxies from the application catalog.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "base/mutex.h"
#include "platform/applications.h"
#include "platform/dispatch.h"
#include "platform/linux/apps/app_catalog.h"
#include "platform/linux/apps/app_cpu.h"
#include "platform/linux/apps/app_run_states.h"
#include "platform/linux/apps/flatpak_instances.h"
#include "platform/linux/apps/install_notices.h"
#include "platform/linux/apps/package_database.h"
#include "platform/linux/apps/package_transactions.h"
#include "platform/linux/loop/bus.h"
#include "platform/linux/loop/event_loop.h"
#include "platform/linux/loop/guarded.h"

namespace tl::linuxdev {

class FlatpakInstances;
class PackageKitWatch;
class PidWatch;
class ToplevelSource;
class UserUnits;

struct ApplicationSources {
  sd_bus* sessionBus = nullptr;
  sd_bus* systemBus = nullptr;
  std::string sysRoot = "/sys";
  std::string procRoot = "/proc";
  std::string stateDirectory;  // where the applications seen installed are kept
  std::vector<FlatpakInstallation> flatpak = DefaultFlatpakInstallations();
  std::function<CatalogSources(std::vector<FlatpakRef>)> catalogSources = DefaultCatalogSources;
  std::string dpkgAdminDir = DefaultDpkgAdminDir();
  std::string apkInstalled = "/lib/apk/db/installed";
  std::string flatpakInstancesDir = DefaultFlatpakInstancesDir();
  // Takes the sources' lines for the daemon's log.
  std::function<void(std::string_view)> log = [](std::string_view) {};
};

class LinuxApplications : public platform::Applications {
 public:
  // State changes are delivered on monitorQueue, answers for a pid on answerQueue, install
  // notices on workspaceQueue.
  LinuxApplications(EventLoop& loop, platform::Queue& monitorQueue, platform::Queue& answerQueue,
                    platform::Queue& workspaceQueue, ApplicationSources sources);
  ~LinuxApplications() override;

  // Connects to the compositor, the user manager and the software-management service and reads
  // the installations (blocking, before the loop runs); one line per source, as the daemon
  // reports them.
  std::vector<std::string> start();
  // Re-reads what may change unannounced: units' processes, the installations, a compositor
  // that was not there at start. On the loop thread.
  void refresh();

  // A new monitor's handler first hears the state of every application running then.
  std::unique_ptr<platform::ApplicationStateMonitor> createStateMonitor() override;
  std::unique_ptr<platform::Registration> addWorkspaceObserver(
      platform::WorkspaceObserver& observer) override;
  platform::ProxyRef proxyForIdentifier(const std::string& bundleIdentifier) override;

  // Each application's CPU and time, foreground and background.
  platform::CpuUsage& cpuUsage() { return cpu_; }

 private:
  class Monitor;
  class Observation;
  struct MonitorCell;

  void report(const std::vector<AppStateChange>& changes) TL_REQUIRES(loop_);
  void watchPids(const AppUnit& unit) TL_REQUIRES(loop_);
  std::string startPackages() TL_REQUIRES(loop_);
  // Connects to the session's window list, the first of: a wlroots compositor's, KDE's, the X11
  // window manager's; the daemon's line that says which.
  std::string startForeground() TL_REQUIRES(loop_);
  // Reports what the compositor told since the last batch ended.
  void settleToplevels() TL_REQUIRES(loop_);
  void installationsChanged() TL_REQUIRES(loop_);
  // Re-reads the package database; the notices of what changed outside any transaction.
  std::vector<InstallNotice> readPackages() TL_REQUIRES(loop_);
  void packagesChanged() TL_REQUIRES(loop_);
  void transactionFinished(const std::string& path, uint32_t exit) TL_REQUIRES(loop_);
  // Builds the catalog anew; the one it replaced.
  std::shared_ptr<const AppCatalog> rebuildCatalog() TL_REQUIRES(loop_);
  // An uninstalled app is described as it was while installed: by the catalog before the last
  // rebuild, if that knew it.
  void notify(const std::vector<InstallNotice>& notices) TL_REQUIRES(loop_);
  std::shared_ptr<const AppCatalog> catalog() const;
  void loadEverInstalled() TL_REQUIRES(loop_);
  void keepEverInstalled() const TL_REQUIRES(loop_);
  static int OnInstallationChanged(sd_event_source*, const struct inotify_event* event, void* self);
  static int OnPackageDatabaseChanged(sd_event_source*, const struct inotify_event* event,
                                      void* self);
  static int OnPackagesSettled(sd_event_source*, uint64_t, void* self);

  EventLoop& loop_;
  platform::Queue& monitorQueue_;
  platform::Queue& answerQueue_;
  platform::Queue& workspaceQueue_;
  ApplicationSources sources_;

  Guarded<std::shared_ptr<const AppCatalog>> catalog_;
  std::shared_ptr<const AppCatalog> previousCatalog_ TL_GUARDED_BY(loop_);
  Mutex mutex_;
  std::vector<std::shared_ptr<MonitorCell>> monitors_ TL_GUARDED_BY(mutex_);
  std::vector<platform::WorkspaceObserver*> observers_ TL_GUARDED_BY(mutex_);

  AppCpu cpu_;

  // Owned by the loop thread.
  AppRunStates states_ TL_GUARDED_BY(loop_);
  std::unique_ptr<PidWatch> pids_ TL_GUARDED_BY(loop_);
  std::unique_ptr<UserUnits> units_ TL_GUARDED_BY(loop_);
  std::unique_ptr<FlatpakInstances> instances_ TL_GUARDED_BY(loop_);
  std::unique_ptr<ToplevelSource> foreground_ TL_GUARDED_BY(loop_);
  std::vector<ToplevelChange> toplevelBatch_
      TL_GUARDED_BY(loop_);  // told by the compositor, not yet settled
  std::vector<std::unique_ptr<sd_event_source, EventSourceDeleter>> installationWatches_
      TL_GUARDED_BY(loop_);
  std::vector<FlatpakRef> flatpakRefs_ TL_GUARDED_BY(loop_);
  InstalledVersions installed_ TL_GUARDED_BY(loop_);  // Flatpak's
  std::set<std::string> everInstalled_ TL_GUARDED_BY(loop_);
  std::optional<PackageDatabase> packages_ TL_GUARDED_BY(loop_);
  InstalledVersions packageApps_ TL_GUARDED_BY(loop_);  // the package database's
  PackageTransactions transactions_ TL_GUARDED_BY(loop_);
  std::unique_ptr<PackageKitWatch> packageKit_ TL_GUARDED_BY(loop_);
  std::unique_ptr<sd_event_source, EventSourceDeleter> packageWatch_ TL_GUARDED_BY(loop_);
  std::unique_ptr<sd_event_source, EventSourceDeleter> packagesSettle_ TL_GUARDED_BY(loop_);
};

}  // namespace tl::linuxdev
