// Flatpak installations: walking app/ID/ARCH/BRANCH and reading each deployment's origin.
#include "platform/linux/apps/flatpak_refs.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace tl::linuxdev {

namespace fs = std::filesystem;

namespace {

std::string EnvOr(const char* name, const std::string& fallback) {
  const char* value = std::getenv(name);
  return value && *value ? value : fallback;
}

// A deployment's "deploy" file is a serialised GVariant of type (ssasta{sv}) that starts with
// the origin as a NUL-terminated string: the one field read here.
std::string ReadOrigin(const fs::path& deployFile) {
  std::ifstream in(deployFile, std::ios::binary);
  std::string origin;
  std::getline(in, origin, '\0');
  return in ? origin : std::string();
}

std::vector<fs::path> Subdirectories(const fs::path& dir) {
  std::vector<fs::path> found;
  std::error_code error;
  for (fs::directory_iterator it(dir, error), end; !error && it != end; it.increment(error)) {
    if (it->is_directory(error)) found.push_back(it->path());
  }
  std::sort(found.begin(), found.end());
  return found;
}

}  // namespace

std::vector<FlatpakRef> ReadFlatpakRefs(const FlatpakInstallation& installation) {
  std::vector<FlatpakRef> refs;
  std::error_code error;
  for (const fs::path& app : Subdirectories(fs::path(installation.path) / "app")) {
    const fs::path current = fs::read_symlink(app / "current", error);
    for (const fs::path& arch : Subdirectories(app)) {
      for (const fs::path& branch : Subdirectories(arch)) {
        const fs::path active = fs::read_symlink(branch / "active", error);
        if (error || !fs::is_directory(branch / active, error)) continue;
        FlatpakRef ref;
        ref.appId = app.filename();
        ref.arch = arch.filename();
        ref.branch = branch.filename();
        ref.commit = active.filename();
        ref.deployPath = branch / active;
        ref.origin = ReadOrigin(branch / active / "deploy");
        ref.user = installation.user;
        ref.current = current == fs::path(ref.arch) / ref.branch;
        refs.push_back(std::move(ref));
      }
    }
  }
  return refs;
}

std::vector<FlatpakInstallation> DefaultFlatpakInstallations() {
  const std::string home = EnvOr("HOME", "/");
  const std::string data = EnvOr("XDG_DATA_HOME", home + "/.local/share");
  return {{EnvOr("FLATPAK_USER_DIR", data + "/flatpak"), true},
          {EnvOr("FLATPAK_SYSTEM_DIR", "/var/lib/flatpak"), false}};
}

}  // namespace tl::linuxdev
