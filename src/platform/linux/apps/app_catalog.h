// AppCatalog: the registry's application proxies on Linux, from desktop entries, AppStream
// metainfo and Flatpak refs.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/applications.h"
#include "platform/linux/apps/flatpak_refs.h"

namespace tl::linuxdev {

inline constexpr char kUserApplicationType[] = "User";
inline constexpr char kHiddenApplicationType[] = "Hidden";

struct CatalogSources {
  std::string userDataDir;                  // $XDG_DATA_HOME: the user's own applications
  std::vector<std::string> systemDataDirs;  // $XDG_DATA_DIRS, the distribution's packages
  std::vector<FlatpakRef> flatpakRefs;      // every installation's refs
  // The version of the package that owns a file, when a package database knows it.
  std::function<std::optional<std::string>(const std::string& path)> packageVersion;
  // The per-vendor device identifier for a developer (machine-specific).
  std::function<std::optional<platform::Uuid>(const std::string& developer)> vendorIdentifier;
};

// The data directories the daemon's environment names, with the Flatpak refs read.
CatalogSources DefaultCatalogSources(std::vector<FlatpakRef> flatpakRefs);

// A developer's device identifier: derived from the machine ID and the developer's name, so it
// is stable on one machine for all of one developer's apps and unrelated across machines.
std::optional<platform::Uuid> MachineVendorIdentifier(const std::string& developer);

class AppCatalog {
 public:
  AppCatalog() = default;
  explicit AppCatalog(const CatalogSources& sources);

  // The proxy of an application ID; nullptr for an unknown one.
  platform::ProxyRef find(const std::string& appId) const;
  // The application ID a compositor's app ID or a window class stands for: itself when the
  // catalog knows it, else the entry whose StartupWMClass or ID matches it ignoring case, else
  // itself.
  std::string resolve(const std::string& windowAppId) const;
  // The application IDs a package's files install (its desktop entries).
  std::vector<std::string> appsOfFiles(const std::vector<std::string>& paths) const;
  size_t size() const { return apps_.size(); }

 private:
  struct Entry {
    platform::ProxyRef proxy;
    std::string desktopPath;
  };
  void add(const std::string& appId, const std::string& desktopPath, platform::ProxyRef proxy);

  std::map<std::string, Entry> apps_;
  std::map<std::string, std::string> byLowerName_;  // StartupWMClass or ID, lower case → ID
  std::map<std::string, std::string> byPath_;       // desktop entry path → ID
};

}  // namespace tl::linuxdev
