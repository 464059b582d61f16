// PackageDatabase: reading dpkg's and apk's records of installed packages.
#include "platform/linux/apps/package_database.h"

#include <sys/stat.h>

#include <cstdlib>

#include "platform/linux/loop/text_file.h"

namespace tl::linuxdev {

namespace {

constexpr std::string_view kApplicationsDir = "/applications/";
constexpr std::string_view kDesktopSuffix = ".desktop";

// Calls line(text) for each line of text.
template <class Line>
void EachLine(std::string_view text, Line line) {
  while (!text.empty()) {
    const size_t end = text.find('\n');
    line(text.substr(0, end));
    if (end == std::string_view::npos) break;
    text.remove_prefix(end + 1);
  }
}

std::string_view Trim(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r')) {
    text.remove_suffix(1);
  }
  return text;
}

// dpkg's package states in which its files are on the system.
bool Present(std::string_view status) {
  const size_t space = status.rfind(' ');
  const std::string_view state = status.substr(space == std::string_view::npos ? 0 : space + 1);
  return state == "installed" || state == "unpacked" || state == "half-configured" ||
         state == "half-installed" || state == "triggers-awaited" || state == "triggers-pending";
}

bool Exists(const std::string& path) {
  struct stat info {};
  return stat(path.c_str(), &info) == 0;
}

}  // namespace

std::string AppIdOfDesktopPath(std::string_view path) {
  const size_t at = path.rfind(kApplicationsDir);
  if (at == std::string_view::npos || !path.ends_with(kDesktopSuffix)) return {};
  std::string id(path.substr(at + kApplicationsDir.size()));
  id.resize(id.size() - kDesktopSuffix.size());
  if (id.empty()) return {};
  for (char& c : id) {
    if (c == '/') c = '-';
  }
  return id;
}

std::map<std::string, DpkgPackage> ParseDpkgStatus(std::string_view text) {
  std::map<std::string, DpkgPackage> packages;
  std::string name, version, arch, status;
  bool sameArch = false;
  auto finish = [&] {
    if (!name.empty() && Present(status)) {
      packages[name] = {version, sameArch && !arch.empty() ? name + ":" + arch : name};
    }
    name.clear(), version.clear(), arch.clear(), status.clear();
    sameArch = false;
  };
  EachLine(text, [&](std::string_view line) {
    if (Trim(line).empty()) return finish();
    if (line.front() == ' ' || line.front() == '\t') return;  // a continuation
    const size_t colon = line.find(':');
    if (colon == std::string_view::npos) return;
    const std::string_view field = line.substr(0, colon);
    const std::string_view value = Trim(line.substr(colon + 1));
    if (field == "Package") {
      name = value;
    } else if (field == "Version") {
      version = value;
    } else if (field == "Architecture") {
      arch = value;
    } else if (field == "Status") {
      status = value;
    } else if (field == "Multi-Arch") {
      sameArch = value == "same";
    }
  });
  finish();
  return packages;
}

std::vector<std::string> AppIdsOfFileList(std::string_view list) {
  std::vector<std::string> ids;
  EachLine(list, [&](std::string_view line) {
    if (std::string id = AppIdOfDesktopPath(Trim(line)); !id.empty()) ids.push_back(std::move(id));
  });
  return ids;
}

InstalledPackages ParseApkInstalled(std::string_view text) {
  InstalledPackages packages;
  std::string name, directory;
  InstalledPackage package;
  auto finish = [&] {
    if (!name.empty()) packages[name] = std::move(package);
    name.clear(), directory.clear();
    package = {};
  };
  EachLine(text, [&](std::string_view line) {
    if (line.size() < 2 || line[1] != ':') {
      if (Trim(line).empty()) finish();
      return;
    }
    const std::string_view value = line.substr(2);
    switch (line[0]) {
      case 'P':
        name = value;
        break;
      case 'V':
        package.version = value;
        break;
      case 'F':
        directory = '/';
        directory += value;
        break;
      case 'R':
        if (std::string id = AppIdOfDesktopPath(directory + "/" + std::string(value));
            !id.empty()) {
          package.appIds.push_back(std::move(id));
        }
        break;
      default:
        break;
    }
  });
  finish();
  return packages;
}

std::string DefaultDpkgAdminDir() {
  const char* dir = std::getenv("DPKG_ADMINDIR");
  return dir && *dir ? dir : "/var/lib/dpkg";
}

std::optional<PackageDatabase> PackageDatabase::Find(const std::string& dpkgAdminDir,
                                                     const std::string& apkInstalled) {
  if (Exists(dpkgAdminDir + "/status")) return PackageDatabase(Format::kDpkg, dpkgAdminDir);
  if (Exists(apkInstalled)) return PackageDatabase(Format::kApk, apkInstalled);
  return std::nullopt;
}

std::string PackageDatabase::directory() const {
  return format_ == Format::kDpkg ? path_ : path_.substr(0, path_.rfind('/'));
}

std::string PackageDatabase::fileName() const {
  return format_ == Format::kDpkg ? "status" : path_.substr(path_.rfind('/') + 1);
}

bool PackageDatabase::read() {
  InstalledPackages now;
  if (format_ == Format::kApk) {
    now = ParseApkInstalled(ReadText(path_));
  } else {
    for (auto& [name, dpkg] : ParseDpkgStatus(ReadText(path_ + "/status"))) {
      InstalledPackage& package = now[name];
      package.version = std::move(dpkg.version);
      auto old = packages_.find(name);
      if (old != packages_.end() && old->second.version == package.version) {
        package.appIds = old->second.appIds;
      } else {
        package.appIds = AppIdsOfFileList(ReadText(path_ + "/info/" + dpkg.listName + ".list"));
      }
    }
  }
  const bool changed = [&] {
    if (now.size() != packages_.size()) return true;
    for (auto a = now.begin(), b = packages_.begin(); a != now.end(); ++a, ++b) {
      if (a->first != b->first || a->second.version != b->second.version ||
          a->second.appIds != b->second.appIds) {
        return true;
      }
    }
    return false;
  }();
  packages_ = std::move(now);
  appVersions_.clear();
  for (const auto& [name, package] : packages_) {
    for (const std::string& appId : package.appIds) appVersions_.emplace(appId, package.version);
  }
  return changed;
}

InstalledVersions PackageDatabase::appVersions() const {
  InstalledVersions versions;
  for (const auto& [name, package] : packages_) {
    for (const std::string& appId : package.appIds) {
      versions.emplace(appId, name + " " + package.version);
    }
  }
  return versions;
}

std::optional<std::string> PackageDatabase::versionOfApp(const std::string& appId) const {
  auto it = appVersions_.find(appId);
  if (it == appVersions_.end()) return std::nullopt;
  return it->second;
}

std::vector<std::string> PackageDatabase::appIdsOf(const std::string& package) const {
  auto it = packages_.find(package);
  return it == packages_.end() ? std::vector<std::string>{} : it->second.appIds;
}

}  // namespace tl::linuxdev
