// Install notices: the install types the Linux device reports, and telling installs, updates,
// reinstalls and removals apart by comparing what was installed before and after a change.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/linux/apps/flatpak_refs.h"

namespace tl::linuxdev {

// The install type of a notice, the low byte of the module's install event code; the session
// log names them "storeDownload", "automaticUpdate" and "none".
inline constexpr uint32_t kInstallTypeStoreFrontEnd = 1;     // a software centre's transaction
inline constexpr uint32_t kInstallTypeUnattendedUpdate = 5;  // a transaction started by root
inline constexpr uint32_t kInstallTypeCommandLine = 0;       // no transaction: flatpak, apt, apk

// What the workspace observers hear of one application.
struct InstallNotice {
  // In the order the observers hear them when one change gives several.
  enum class Kind { kStarted, kInstalled, kUninstalled, kFailed, kCancelled };
  Kind kind = Kind::kInstalled;
  std::string appId;
  bool update = false;     // another version of it was installed
  bool reinstall = false;  // it was installed once before, then removed
  uint32_t installType = kInstallTypeCommandLine;
  friend bool operator==(const InstallNotice&, const InstallNotice&) = default;
};

// Each application's installed version, by application ID.
using InstalledVersions = std::map<std::string, std::string>;

// The current refs' commits; an application in both installations counts once, the user's.
InstalledVersions FlatpakVersions(const std::vector<FlatpakRef>& refs);

// The notices of a change from before to after, in the order of application IDs. everInstalled
// holds every application seen installed before; the installed ones are added to it.
std::vector<InstallNotice> DiffInstalled(const InstalledVersions& before,
                                         const InstalledVersions& after,
                                         std::set<std::string>* everInstalled);

}  // namespace tl::linuxdev
