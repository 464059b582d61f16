// Flatpak installations: the applications deployed in one, read from its directory.
#pragma once

#include <string>
#include <vector>

namespace tl::linuxdev {

struct FlatpakInstallation {
  std::string path;  // ~/.local/share/flatpak, /var/lib/flatpak, or $FLATPAK_*_DIR
  bool user = false;
};

// One deployed application ref, app/ID/ARCH/BRANCH, at its active commit.
struct FlatpakRef {
  std::string appId, arch, branch;
  std::string commit;  // the deployment the "active" link names
  std::string origin;  // the remote it came from
  std::string deployPath;
  bool user = false;
  bool current = false;  // the branch the app's "current" link names
  friend bool operator==(const FlatpakRef&, const FlatpakRef&) = default;
};

// Every application ref of the installation, in the order of app, arch and branch. A ref without
// an active deployment (half removed, or being installed) is left out.
std::vector<FlatpakRef> ReadFlatpakRefs(const FlatpakInstallation& installation);

// The installations a user's Flatpak uses: $FLATPAK_USER_DIR (else $XDG_DATA_HOME/flatpak, else
// ~/.local/share/flatpak), then $FLATPAK_SYSTEM_DIR (else /var/lib/flatpak).
std::vector<FlatpakInstallation> DefaultFlatpakInstallations();

}  // namespace tl::linuxdev
