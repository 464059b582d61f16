// Applications: the registry's application proxies, the run-state monitor and the install
// workspace.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/registration.h"
#include "platform/uuid.h"
#include "platform/value.h"

namespace tl::platform {

// What the application registry knows of one installed (or installing) bundle.
class RSApplicationProxy {
 public:
  static constexpr char kSystemApplicationType[] = "System";
  static constexpr char kInternalApplicationType[] = "Internal";

  std::string bundleIdentifier;
  std::optional<std::string> bundleVersion;
  std::optional<std::string> shortVersionString;
  std::optional<Uuid> deviceIdentifierForVendor;
  std::optional<int64_t> itemID;
  std::optional<std::string> storeCohortMetadata;
  std::optional<int64_t> storeFront;
  Dictionary entitlements;
  std::optional<std::string> applicationType;
  uint32_t originalInstallType = 0;
  uint32_t installType = 0;
  bool isAppUpdate = false;
  bool isPurchasedReDownload = false;
};
using ProxyRef = std::shared_ptr<const RSApplicationProxy>;

// Keys of the dictionaries the run-state monitor reports.
inline constexpr char kAppInfoProcessIdKey[] = "pid";
inline constexpr char kAppInfoDisplayIdKey[] = "bundle";
inline constexpr char kAppInfoStateKey[] = "state";
inline constexpr char kAppInfoExtensionKey[] = "extension";

// Reports run-state changes of applications and extensions on the monitor's own delivery queue.
class ApplicationStateMonitor {
 public:
  virtual ~ApplicationStateMonitor() = default;
  using Handler = std::function<void(const Dictionary& stateInfo)>;
  virtual void setHandler(Handler handler) = 0;
  // Answers with the information of the application running as pid, on another queue.
  virtual void applicationInfoForPid(int32_t pid, Handler completion) = 0;
};

// Install notices of the workspace, each with the proxies concerned, on the workspace's queue.
class WorkspaceObserver {
 public:
  virtual ~WorkspaceObserver() = default;
  virtual void applicationsDidInstall(const std::vector<ProxyRef>& proxies) = 0;
  virtual void applicationsDidUninstall(const std::vector<ProxyRef>& proxies) = 0;
  virtual void applicationInstallsDidStart(const std::vector<ProxyRef>& proxies) = 0;
  virtual void applicationsDidFailToInstall(const std::vector<ProxyRef>& proxies) = 0;
  virtual void applicationInstallsDidCancel(const std::vector<ProxyRef>& proxies) = 0;
  virtual void networkUsageChanged(bool inUse) = 0;
};

class Applications {
 public:
  virtual ~Applications() = default;
  virtual std::unique_ptr<ApplicationStateMonitor> createStateMonitor() = 0;
  // Destroying the registration removes the observer, which must outlive it.
  virtual std::unique_ptr<Registration> addWorkspaceObserver(WorkspaceObserver& observer) = 0;
  // The registry's proxy for a bundle identifier; an unknown bundle gives a proxy with only
  // the identifier set, as the registry does.
  virtual ProxyRef proxyForIdentifier(const std::string& bundleIdentifier) = 0;
};

}  // namespace tl::platform
