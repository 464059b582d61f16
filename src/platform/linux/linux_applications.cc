// LinuxApplications: wiring the sources to the run-state machine, the monitors, the workspace
// observers and the catalog.
#include "platform/linux/linux_applications.h"

#include <sys/inotify.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/linux/app_ids.h"
#include "platform/linux/pid_watch.h"
#include "platform/linux/user_units.h"
#include "platform/linux/wlr_toplevels.h"

namespace tl::linuxdev {

using namespace platform;

namespace {

constexpr char kEverInstalledFile[] = "/apps-installed";

std::string ReadText(const std::string& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

}  // namespace

// A monitor's handler, shared with the tasks that deliver to it so that a change queued before
// the handler is replaced or the monitor destroyed is dropped.
struct LinuxApplications::MonitorCell {
  std::mutex mutex;
  std::shared_ptr<ApplicationStateMonitor::Handler> handler;
  std::shared_ptr<ApplicationStateMonitor::Handler> current() {
    std::lock_guard lock(mutex);
    return handler;
  }
};

class LinuxApplications::Monitor : public ApplicationStateMonitor {
 public:
  Monitor(LinuxApplications& owner, std::shared_ptr<MonitorCell> cell)
      : owner_(owner), cell_(std::move(cell)) {}
  ~Monitor() override {
    setHandler(nullptr);
    std::lock_guard lock(owner_.mutex_);
    std::erase(owner_.monitors_, cell_);
  }

  void setHandler(Handler handler) override {
    {
      std::lock_guard lock(cell_->mutex);
      cell_->handler = handler ? std::make_shared<Handler>(std::move(handler)) : nullptr;
    }
    if (!cell_->current()) return;
    // What runs already, read on the loop thread where the states live.
    owner_.loop_.post([&owner = owner_, cell = cell_] {
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
    std::lock_guard lock(owner_.mutex_);
    owner_.observers_.push_back(&observer_);
  }
  ~Observation() override {
    std::lock_guard lock(owner_.mutex_);
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
      sources_(std::move(sources)) {
  catalog_.replace(std::make_shared<const AppCatalog>());
}

LinuxApplications::~LinuxApplications() = default;

std::vector<std::string> LinuxApplications::start() {
  std::vector<std::string> findings;
  loadEverInstalled();
  std::vector<FlatpakRef> refs;
  for (const FlatpakInstallation& installation : sources_.flatpak) {
    for (FlatpakRef& ref : ReadFlatpakRefs(installation)) refs.push_back(std::move(ref));
    sd_event_source* source = nullptr;
    if (sd_event_add_inotify(loop_.event(), &source, installation.path.c_str(),
                             IN_CREATE | IN_MOVED_TO | IN_CLOSE_WRITE | IN_ATTRIB,
                             OnInstallationChanged, this) >= 0) {
      installationWatches_.emplace_back(source);
    }
  }
  installed_ = FlatpakVersions(refs);
  for (const auto& [appId, version] : installed_) everInstalled_.insert(appId);
  keepEverInstalled();
  auto built = std::make_shared<const AppCatalog>(sources_.catalogSources(std::move(refs)));
  findings.push_back("applications: " + std::to_string(built->size()) + " in the catalog, " +
                     std::to_string(installed_.size()) + " from Flatpak");
  catalog_.replace(std::move(built), [](auto&, auto&) { return false; });

  pids_ = std::make_unique<PidWatch>(loop_,
                                     [this](int32_t pid) { report(states_.processExited(pid)); });
  units_ = std::make_unique<UserUnits>(
      sources_.sessionBus, sources_.sysRoot + "/fs/cgroup",
      [this](const std::string& name, const AppUnit& unit) {
        watchPids(unit);
        report(states_.unit(name, unit));
      },
      [this](const std::string& name) { report(states_.unitGone(name)); });
  findings.push_back(units_->start() ? "application units: the user manager's"
                                     : "application units: no user manager");

  ToplevelEvents events{[this](uint64_t handle, Toplevel toplevel) {
                          toplevel.appId = catalog()->resolve(toplevel.appId);
                          report(states_.toplevel(handle, std::move(toplevel)));
                        },
                        [this](uint64_t handle) { report(states_.toplevelClosed(handle)); },
                        [this] { report(states_.toplevelsGone()); }};
  toplevels_ = std::make_unique<WlrToplevels>(loop_, std::move(events));
  findings.push_back(toplevels_->start() ? "foreground: the compositor's toplevels (wlroots)"
                                         : "foreground: not published");
  return findings;
}

void LinuxApplications::refresh() {
  if (units_) units_->refresh();
  installationsChanged();
}

void LinuxApplications::watchPids(const AppUnit& unit) {
  for (int32_t pid : unit.pids) pids_->watch(pid);
}

void LinuxApplications::report(const std::vector<AppStateChange>& changes) {
  if (changes.empty()) return;
  std::vector<std::shared_ptr<MonitorCell>> monitors;
  {
    std::lock_guard lock(mutex_);
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
  if (event->len > 0 && std::string_view(event->name) == ".changed") {
    static_cast<LinuxApplications*>(self)->installationsChanged();
  }
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
  keepEverInstalled();
  auto before = catalog();
  auto after = std::make_shared<const AppCatalog>(sources_.catalogSources(std::move(refs)));
  catalog_.replace(after, [](auto&, auto&) { return false; });
  notify(notices, *before, *after);
}

void LinuxApplications::notify(const std::vector<InstallNotice>& notices, const AppCatalog& before,
                               const AppCatalog& after) {
  std::vector<ProxyRef> installed, uninstalled;
  for (const InstallNotice& notice : notices) {
    const bool gone = notice.kind == InstallNotice::Kind::kUninstalled;
    // A removed application is described as it was installed.
    ProxyRef known = (gone ? before : after).find(notice.appId);
    auto proxy = known ? std::make_shared<RSApplicationProxy>(*known)
                       : std::make_shared<RSApplicationProxy>();
    proxy->bundleIdentifier = notice.appId;
    proxy->originalInstallType = proxy->installType = kInstallTypeCommandLine;
    proxy->isAppUpdate = notice.update;
    proxy->isPurchasedReDownload = notice.reinstall;
    (gone ? uninstalled : installed).push_back(std::move(proxy));
  }
  std::vector<WorkspaceObserver*> observers;
  {
    std::lock_guard lock(mutex_);
    observers = observers_;
  }
  for (WorkspaceObserver* observer : observers) {
    workspaceQueue_.async([this, observer, installed, uninstalled] {
      // The observer may have gone since: only a registered one hears the notice.
      {
        std::lock_guard lock(mutex_);
        if (std::find(observers_.begin(), observers_.end(), observer) == observers_.end()) return;
      }
      if (!installed.empty()) observer->applicationsDidInstall(installed);
      if (!uninstalled.empty()) observer->applicationsDidUninstall(uninstalled);
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
  const std::string path = sources_.stateDirectory + kEverInstalledFile;
  {
    std::ofstream out(path + ".new", std::ios::trunc);
    for (const std::string& appId : everInstalled_) out << appId << '\n';
    if (!out.flush()) return;
  }
  std::error_code error;
  std::filesystem::rename(path + ".new", path, error);
}

std::unique_ptr<ApplicationStateMonitor> LinuxApplications::createStateMonitor() {
  auto cell = std::make_shared<MonitorCell>();
  {
    std::lock_guard lock(mutex_);
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
