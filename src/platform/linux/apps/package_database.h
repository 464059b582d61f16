// PackageDatabase: the distribution's installed packages as dpkg or apk records them, their
// versions and the applications (desktop entries) each one installs.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/apps/install_notices.h"

namespace tl::linuxdev {

struct InstalledPackage {
  std::string version;
  std::vector<std::string> appIds;  // from the desktop entries among its files
};

// By package name.
using InstalledPackages = std::map<std::string, InstalledPackage>;

// The application ID of a desktop entry's path (below an "applications" directory, "/" read as
// "-", without ".desktop"); empty for any other file.
std::string AppIdOfDesktopPath(std::string_view path);

// dpkg's status file: each package present on the system (installed, or half-way through an
// upgrade) and its version, with the ".list" file naming its files (NAME or NAME:ARCH for a
// multi-arch package). Removed packages whose configuration is kept are not present.
struct DpkgPackage {
  std::string version;
  std::string listName;
};
std::map<std::string, DpkgPackage> ParseDpkgStatus(std::string_view text);

// The applications among the files of a package's ".list", one path per line.
std::vector<std::string> AppIdsOfFileList(std::string_view list);

// apk's installed database: packages ("P:"), versions ("V:") and files ("F:" directory,
// "R:" file).
InstalledPackages ParseApkInstalled(std::string_view text);

// $DPKG_ADMINDIR, else dpkg's own directory.
std::string DefaultDpkgAdminDir();

class PackageDatabase {
 public:
  enum class Format { kDpkg, kApk };

  // dpkg's when its status file exists under dpkgAdminDir, else apk's when its installed file
  // exists; none otherwise.
  static std::optional<PackageDatabase> Find(const std::string& dpkgAdminDir,
                                             const std::string& apkInstalled);

  Format format() const { return format_; }
  // The directory to watch and the name of the file that changes in it.
  std::string directory() const;
  std::string fileName() const;

  // Reads the database again; a dpkg package's file list is read again only when its version
  // changed. true when anything changed.
  bool read();

  const InstalledPackages& packages() const { return packages_; }
  // Each application's package and version ("PACKAGE VERSION"), for telling installs,
  // updates and removals apart.
  InstalledVersions appVersions() const;
  // The version of the package that installs an application.
  std::optional<std::string> versionOfApp(const std::string& appId) const;
  std::vector<std::string> appIdsOf(const std::string& package) const;

 private:
  PackageDatabase(Format format, std::string path) : format_(format), path_(std::move(path)) {}

  Format format_;
  std::string path_;  // dpkg's admin directory or apk's installed file
  InstalledPackages packages_;
  std::map<std::string, std::string> appVersions_;  // application ID → its package's version
};

}  // namespace tl::linuxdev
