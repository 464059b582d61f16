// LinuxApplications: wiring the sources to the run-state machine, the monitors, the workspace
// observers and the catalog.
#include "platform/linux/apps/linux_applications.h"

#include <sys/inotify.h>
#include <time.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <sstream>

#include "platform/linux/apps/app_ids.h"
#include "platform/linux/apps/flatpak_instances.h"
#include "platform/linux/apps/packagekit_watch.h"
#include "platform/linux/apps/user_units.h"
#include "platform/linux/loop/pid_watch.h"
#include "platform/linux/loop/text_file.h"
#include "platform/linux/windows/kde_windows.h"
#include "platform/linux/windows/wlr_toplevels.h"
#include "platform/linux/windows/x11_windows.h"

namespace tl::linuxdev {

using namespace platform;

namespace {

constexpr char kEverInstalledFile[] = "/apps-installed";

// Time awake: an application is not on screen while the machine sleeps.
double MonotonicSeconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

}  // namespace

// A monitor's handler, shared with the tasks that deliver to it so that a change queued before
// the handler is replaced or the monitor destroyed is dropped.
struct LinuxApplications::MonitorCell {
  Mutex mutex;
  std::shared_ptr<ApplicationStateMonitor::Handler> handler TL_GUARDED_BY(mutex);
  std::shared_ptr<ApplicationStateMonitor::Handler> current() {
    MutexLock lock(mutex);
    return handler;
  }
};

class LinuxApplications::Monitor : public ApplicationStateMonitor {
 public:
  Monitor(LinuxApplications& owner, std::shared_ptr<MonitorCell> cell)
      : owner_(owner), cell_(std::move(cell)) {}
  ~Monitor() override {
    setHandler(nullptr);
    MutexLock lock(owner_.mutex_);
    std::erase(owner_.monitors_, cell_);
  }

  void setHandler(Handler handler) override {
    {
      MutexLock lock(cell_->mutex);
      cell_->handler = handler ? std::make_shared<Handler>(std::move(handler)) : nullptr;
    }
    if (!cell_->current()) return;
    // What runs already, read on the loop thread where the states live.
    owner_.loop_.post([&owner = owner_, cell = cell_] {
      owner.loop_.assertOnLoopThread();
      for (const AppStateChange& change : owner.states_.running()) {
        owner.monitorQueue_.async([cell, info = StateInfo(change)] {
          if (auto handler = cell->current()) (*handler)(info);
        });
      }
    });
  }

  // The application of a process: its application unit, else its Flatpak sandbox.
  void applicationInfoForPid(int32_t pid, Handler completion) override {
    const std::string proc = owner_.sources_.procRoot + "/" + std::to_string(pid);
    owner_.answerQueue_.async([pid, proc, completion = std::move(completion)] {
      Dictionary info;
      std::optional<std::string> appId;
      if (pid > 0) {
        appId = AppIdFromCgroup(ReadText(proc + "/cgroup"));
        if (!appId) appId = AppIdFromFlatpakInfo(ReadText(proc + "/root/.flatpak-info"));
      }
      if (appId) info = {{kAppInfoDisplayIdKey, *appId}, {kAppInfoProcessIdKey, pid}};
      completion(info);
    });
  }

 private:
  LinuxApplications& owner_;
  std::shared_ptr<MonitorCell> cell_;
};

class LinuxApplications::Observation : public Registration {
 public:
  Observation(LinuxApplications& owner, WorkspaceObserver& observer)
      : owner_(owner), observer_(observer) {
    MutexLock lock(owner_.mutex_);
    owner_.observers_.push_back(&observer_);
  }
  ~Observation() override {
    MutexLock lock(owner_.mutex_);
    std::erase(owner_.observers_, &observer_);
  }

 private:
  LinuxApplications& owner_;
  WorkspaceObserver& observer_;
};

LinuxApplications::LinuxApplications(EventLoop& loop, Queue& monitorQueue, Queue& answerQueue,
                                     Queue& workspaceQueue, ApplicationSources sources)
    : loop_(loop),
      monitorQueue_(monitorQueue),
      answerQueue_(answerQueue),
      workspaceQueue_(workspaceQueue),
      sources_(std::move(sources)),
      // The CPU is read while the daemon stores a commit, inside the outputs' lock that the log
      // takes too: its lines go out from the loop.
      cpu_(sources_.sysRoot + "/fs/cgroup", sources_.procRoot, MonotonicSeconds,
           [this](std::string_view line) {
             loop_.post([this, text = std::string(line)] { sources_.log(text); });
           }),
      transactions_(PackageFacts{[this](const std::string& package) {
                                   loop_.assertOnLoopThread();
                                   return packages_ ? packages_->appIdsOf(package)
                                                    : std::vector<std::string>{};
                                 },
                                 [this](const std::string& appId) {
                                   loop_.assertOnLoopThread();
                                   return everInstalled_.count(appId) != 0;
                                 }}) {
  catalog_.replace(std::make_shared<const AppCatalog>());
  previousCatalog_ = catalog();
}

LinuxApplications::~LinuxApplications() = default;

std::vector<std::string> LinuxApplications::start() {
  loop_.assertOnLoopThread();  // the loop's thread before it runs
  std::vector<std::string> findings;
  loadEverInstalled();
  for (const FlatpakInstallation& installation : sources_.flatpak) {
    for (FlatpakRef& ref : ReadFlatpakRefs(installation)) flatpakRefs_.push_back(std::move(ref));
    sd_event_source* source = nullptr;
    if (sd_event_add_inotify(loop_.event(), &source, installation.path.c_str(),
                             IN_CREATE | IN_MOVED_TO | IN_CLOSE_WRITE | IN_ATTRIB,
                             OnInstallationChanged, this) >= 0) {
      installationWatches_.emplace_back(source);
    }
  }
  installed_ = FlatpakVersions(flatpakRefs_);
  for (const auto& [appId, version] : installed_) everInstalled_.insert(appId);
  const std::string packages = startPackages();
  keepEverInstalled();
  rebuildCatalog();
  findings.push_back("applications: " + std::to_string(catalog()->size()) + " in the catalog, " +
                     std::to_string(installed_.size()) + " from Flatpak, " +
                     std::to_string(packageApps_.size()) + " from packages");
  findings.push_back(packages);

  pids_ = std::make_unique<PidWatch>(loop_, [this](int32_t pid) {
    loop_.assertOnLoopThread();
    report(states_.processExited(pid));
  });
  auto unitChanged = [this](const std::string& name, const AppUnit& unit,
                            const std::string& cgroup) {
    loop_.assertOnLoopThread();
    watchPids(unit);
    report(states_.unit(name, unit, cgroup));
  };
  auto unitGone = [this](const std::string& name) {
    loop_.assertOnLoopThread();
    report(states_.unitGone(name));
  };
  units_ = std::make_unique<UserUnits>(sources_.sessionBus, sources_.sysRoot + "/fs/cgroup",
                                       unitChanged, unitGone);
  const Status units = units_->start();
  findings.push_back(units.ok() ? "application units: the user manager's"
                                : "application units: no user manager: " + units.message());
  // A sandbox is the application's unit where no user manager runs it in one.
  instances_ = std::make_unique<FlatpakInstances>(
      loop_, sources_.flatpakInstancesDir, sources_.procRoot,
      [unitChanged](const std::string& name, const AppUnit& unit) { unitChanged(name, unit, ""); },
      unitGone);
  const Status instances = instances_->start();
  findings.push_back("flatpak instances: " + (instances.ok() ? "watched" : instances.message()));

  findings.push_back(startForeground());
  cpu_.startedUp();
  return findings;
}

std::string LinuxApplications::startForeground() {
  // The compositor's changes gather until its batch ends; all of it happens on the loop thread.
  ToplevelEvents events{.changed =
                            [this](uint64_t handle, Toplevel toplevel) {
                              loop_.assertOnLoopThread();
                              toplevel.appId = catalog()->resolve(toplevel.appId);
                              toplevelBatch_.push_back({handle, std::move(toplevel)});
                            },
                        .closed =
                            [this](uint64_t handle) {
                              loop_.assertOnLoopThread();
                              toplevelBatch_.push_back({handle, std::nullopt});
                            },
                        .gone =
                            [this] {
                              loop_.assertOnLoopThread();
                              toplevelBatch_.clear();
                              report(states_.toplevelsGone());
                            },
                        .settled =
                            [this] {
                              loop_.assertOnLoopThread();
                              settleToplevels();
                            }};
  std::string causes;  // why each list tried is not there
  auto starts = [&](const char* name, std::unique_ptr<ToplevelSource> source) TL_REQUIRES(loop_) {
    toplevelBatch_.clear();  // what a source that then failed had told
    foreground_ = std::move(source);
    const Status status = foreground_->start();
    if (!status.ok())
      causes += (causes.empty() ? "" : "; ") + std::string(name) + ": " + status.message();
    return status.ok();
  };
  const std::string found = [&]() TL_REQUIRES(loop_) -> std::string {
    if (starts("wlroots", std::make_unique<WlrToplevels>(loop_, events))) {
      return "the compositor's toplevels (wlroots)";
    }
    if (starts("KDE", std::make_unique<KdeWindows>(loop_, events)))
      return "the compositor's windows (KDE)";
    // Under Wayland, X11's root properties list only XWayland's windows.
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    if ((!wayland || !*wayland) && starts("X11", std::make_unique<X11Windows>(loop_, events))) {
      return "the X11 window manager's active window";
    }
    foreground_.reset();
    toplevelBatch_.clear();
    return "not published (" + causes + ")";
  }();
  settleToplevels();  // the windows already open
  return "foreground: " + found;
}

void LinuxApplications::settleToplevels() {
  std::vector<ToplevelChange> batch;
  batch.swap(toplevelBatch_);
  report(states_.toplevels(batch));
}

std::string LinuxApplications::startPackages() {
  std::string line = "packages: ";
  packages_ = PackageDatabase::Find(sources_.dpkgAdminDir, sources_.apkInstalled);
  if (packages_) {
    packages_->read();
    packageApps_ = packages_->appVersions();
    for (const auto& [appId, version] : packageApps_) everInstalled_.insert(appId);
    sd_event_source* source = nullptr;
    if (sd_event_add_inotify(loop_.event(), &source, packages_->directory().c_str(),
                             IN_CLOSE_WRITE | IN_MOVED_TO, OnPackageDatabaseChanged, this) >= 0) {
      packageWatch_.reset(source);
    }
    line += packages_->format() == PackageDatabase::Format::kDpkg ? "the dpkg database"
                                                                  : "the apk database";
  } else {
    line += "no package database";
  }
  packageKit_ = std::make_unique<PackageKitWatch>(
      sources_.systemBus,
      PackageKitEvents{
          [this](const std::string& path, uint32_t role, uint32_t uid, uint64_t flags) {
            loop_.assertOnLoopThread();
            transactions_.created(path, role, uid, flags);
          },
          [this](const std::string& path, uint32_t info, const std::string& id) {
            loop_.assertOnLoopThread();
            notify(transactions_.package(path, info, id));
          },
          [this](const std::string& path, uint32_t exit) {
            loop_.assertOnLoopThread();
            transactionFinished(path, exit);
          },
          [this](const std::string& path) {
            loop_.assertOnLoopThread();
            transactions_.destroyed(path);
          }});
  const Status packageKit = packageKit_->start();
  line +=
      packageKit.ok() ? ", transactions of PackageKit" : ", no PackageKit: " + packageKit.message();
  return line;
}

void LinuxApplications::refresh() {
  loop_.assertOnLoopThread();
  if (!foreground_ || !foreground_->connected()) startForeground();
  if (units_) units_->refresh();
  if (instances_) instances_->refresh();
  installationsChanged();
  packagesChanged();
}

void LinuxApplications::watchPids(const AppUnit& unit) {
  for (int32_t pid : unit.pids) pids_->watch(pid);
}

void LinuxApplications::report(const std::vector<AppStateChange>& changes) {
  // Before the module hears of a change: the CPU until now belongs to the state left.
  cpu_.update(states_.cpuSources(), changes);
  if (changes.empty()) return;
  std::vector<std::shared_ptr<MonitorCell>> monitors;
  {
    MutexLock lock(mutex_);
    monitors = monitors_;
  }
  for (const AppStateChange& change : changes) {
    for (const auto& cell : monitors) {
      monitorQueue_.async([cell, info = StateInfo(change)] {
        if (auto handler = cell->current()) (*handler)(info);
      });
    }
  }
}

std::shared_ptr<const AppCatalog> LinuxApplications::catalog() const { return catalog_.get(); }

int LinuxApplications::OnInstallationChanged(sd_event_source*, const inotify_event* event,
                                             void* self) {
  // Flatpak touches ".changed" once each transaction is complete.
  auto& owner = *static_cast<LinuxApplications*>(self);
  owner.loop_.assertOnLoopThread();
  if (event->len > 0 && std::string_view(event->name) == ".changed") owner.installationsChanged();
  return 0;
}

void LinuxApplications::installationsChanged() {
  std::vector<FlatpakRef> refs;
  for (const FlatpakInstallation& installation : sources_.flatpak) {
    for (FlatpakRef& ref : ReadFlatpakRefs(installation)) refs.push_back(std::move(ref));
  }
  InstalledVersions now = FlatpakVersions(refs);
  if (now == installed_) return;
  const std::vector<InstallNotice> notices = DiffInstalled(installed_, now, &everInstalled_);
  installed_ = std::move(now);
  flatpakRefs_ = std::move(refs);
  keepEverInstalled();
  rebuildCatalog();
  notify(notices);
}

std::vector<InstallNotice> LinuxApplications::readPackages() {
  if (!packages_ || !packages_->read()) return {};
  // A transaction's packages first, while everInstalled still says what was there before.
  std::vector<InstallNotice> notices = transactions_.databaseChanged();
  InstalledVersions now = packages_->appVersions();
  for (InstallNotice& notice : DiffInstalled(packageApps_, now, &everInstalled_)) {
    if (!transactions_.claims(notice.appId)) notices.push_back(std::move(notice));
  }
  packageApps_ = std::move(now);
  keepEverInstalled();
  rebuildCatalog();
  return notices;
}

void LinuxApplications::packagesChanged() { notify(readPackages()); }

void LinuxApplications::transactionFinished(const std::string& path, uint32_t exit) {
  // What it changed is read before the transaction is forgotten, so that it tells its own.
  std::vector<InstallNotice> notices = readPackages();
  for (InstallNotice& notice : transactions_.finished(path, exit)) {
    notices.push_back(std::move(notice));
  }
  notify(notices);
}

int LinuxApplications::OnPackageDatabaseChanged(sd_event_source*, const inotify_event* event,
                                                void* self) {
  auto& owner = *static_cast<LinuxApplications*>(self);
  owner.loop_.assertOnLoopThread();
  if (event->len == 0 || owner.packages_->fileName() != event->name) return 0;
  // dpkg rewrites its status after every step of a run: read once the writes have settled.
  constexpr uint64_t kSettle = 1'000'000;
  if (owner.packagesSettle_) {
    sd_event_source_set_time_relative(owner.packagesSettle_.get(), kSettle);
    sd_event_source_set_enabled(owner.packagesSettle_.get(), SD_EVENT_ONESHOT);
    return 0;
  }
  sd_event_source* source = nullptr;
  if (sd_event_add_time_relative(owner.loop_.event(), &source, CLOCK_MONOTONIC, kSettle, 100'000,
                                 OnPackagesSettled, self) >= 0) {
    owner.packagesSettle_.reset(source);
  }
  return 0;
}

int LinuxApplications::OnPackagesSettled(sd_event_source*, uint64_t, void* self) {
  auto& owner = *static_cast<LinuxApplications*>(self);
  owner.loop_.assertOnLoopThread();
  owner.packagesChanged();
  return 0;
}

std::shared_ptr<const AppCatalog> LinuxApplications::rebuildCatalog() {
  CatalogSources sources = sources_.catalogSources(flatpakRefs_);
  if (!sources.packageVersion && packages_) {
    sources.packageVersion = [&database = *packages_](const std::string& path) {
      return database.versionOfApp(AppIdOfDesktopPath(path));
    };
  }
  previousCatalog_ = catalog();
  catalog_.replace(std::make_shared<const AppCatalog>(sources), [](auto&, auto&) { return false; });
  return previousCatalog_;
}

void LinuxApplications::notify(const std::vector<InstallNotice>& notices) {
  if (notices.empty()) return;
  using Kind = InstallNotice::Kind;
  const auto now = catalog();
  std::map<Kind, std::vector<ProxyRef>> proxies;
  for (const InstallNotice& notice : notices) {
    const bool gone = notice.kind == Kind::kUninstalled;
    ProxyRef known = (gone ? previousCatalog_ : now)->find(notice.appId);
    if (!known) known = (gone ? now : previousCatalog_)->find(notice.appId);
    auto proxy = known ? std::make_shared<RSApplicationProxy>(*known)
                       : std::make_shared<RSApplicationProxy>();
    proxy->bundleIdentifier = notice.appId;
    proxy->originalInstallType = proxy->installType = notice.installType;
    proxy->isAppUpdate = notice.update;
    proxy->isPurchasedReDownload = notice.reinstall;
    proxies[notice.kind].push_back(std::move(proxy));
  }
  std::vector<WorkspaceObserver*> observers;
  {
    MutexLock lock(mutex_);
    observers = observers_;
  }
  for (WorkspaceObserver* observer : observers) {
    workspaceQueue_.async([this, observer, proxies] {
      // The observer may have gone since: only a registered one hears the notice.
      {
        MutexLock lock(mutex_);
        if (std::find(observers_.begin(), observers_.end(), observer) == observers_.end()) return;
      }
      for (const auto& [kind, list] : proxies) {
        switch (kind) {
          case Kind::kInstalled:
            observer->applicationsDidInstall(list);
            break;
          case Kind::kUninstalled:
            observer->applicationsDidUninstall(list);
            break;
          case Kind::kStarted:
            observer->applicationInstallsDidStart(list);
            break;
          case Kind::kFailed:
            observer->applicationsDidFailToInstall(list);
            break;
          case Kind::kCancelled:
            observer->applicationInstallsDidCancel(list);
            break;
        }
      }
    });
  }
}

void LinuxApplications::loadEverInstalled() {
  std::istringstream lines(ReadText(sources_.stateDirectory + kEverInstalledFile));
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty()) everInstalled_.insert(line);
  }
}

void LinuxApplications::keepEverInstalled() const {
  std::string text;
  for (const std::string& appId : everInstalled_) text += appId + '\n';
  ReplaceText(sources_.stateDirectory + kEverInstalledFile, text);
}

std::unique_ptr<ApplicationStateMonitor> LinuxApplications::createStateMonitor() {
  auto cell = std::make_shared<MonitorCell>();
  {
    MutexLock lock(mutex_);
    monitors_.push_back(cell);
  }
  return std::make_unique<Monitor>(*this, std::move(cell));
}

std::unique_ptr<Registration> LinuxApplications::addWorkspaceObserver(WorkspaceObserver& observer) {
  return std::make_unique<Observation>(*this, observer);
}

ProxyRef LinuxApplications::proxyForIdentifier(const std::string& bundleIdentifier) {
  if (ProxyRef known = catalog()->find(bundleIdentifier)) return known;
  auto proxy = std::make_shared<RSApplicationProxy>();
  proxy->bundleIdentifier = bundleIdentifier;
  return proxy;
}

}  // namespace tl::linuxdev
