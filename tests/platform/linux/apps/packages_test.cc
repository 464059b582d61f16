// The distribution's package databases on snapshots (dpkg, apk) and software-centre
// transactions turned into install notices.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>

#include "platform/linux/apps/package_database.h"
#include "platform/linux/apps/package_transactions.h"

namespace tl::linuxdev {
namespace {

namespace fs = std::filesystem;
using Kind = InstallNotice::Kind;

constexpr char kStatus[] =
    "Package: editor\n"
    "Status: install ok installed\n"
    "Architecture: amd64\n"
    "Version: 1:2.4-1\n"
    "Description: a text editor\n"
    " Version: 9 is not this package's version\n"
    "\n"
    "Package: old-viewer\n"
    "Status: deinstall ok config-files\n"
    "Version: 0.9\n"
    "\n"
    "Package: libfoo\n"
    "Status: install ok half-configured\n"
    "Architecture: amd64\n"
    "Multi-Arch: same\n"
    "Version: 3.0\n";

TEST(PackageDatabaseTest, DpkgStatusListsAndApkInstalled) {
  const auto dpkg = ParseDpkgStatus(kStatus);
  ASSERT_EQ(dpkg.size(), 2u);  // removed with its configuration kept: not present
  EXPECT_EQ(dpkg.at("editor").version, "1:2.4-1");
  EXPECT_EQ(dpkg.at("editor").listName, "editor");
  // Half-way through an upgrade its files are there; a multi-arch package's list is per arch.
  EXPECT_EQ(dpkg.at("libfoo").listName, "libfoo:amd64");

  EXPECT_EQ(AppIdsOfFileList("/.\n/usr/share/applications\n"
                             "/usr/share/applications/org.example.Editor.desktop\n"
                             "/usr/share/applications/kde4/okular.desktop\n"
                             "/usr/share/doc/editor/README.desktop.txt\n"
                             "/usr/share/icons/x.desktop\n"),
            (std::vector<std::string>{"org.example.Editor", "kde4-okular"}));

  const auto apk = ParseApkInstalled(
      "C:Q1abc=\nP:maps\nV:44.1-r0\nF:usr/bin\nR:maps\nF:usr/share/applications\n"
      "R:org.example.Maps.desktop\nR:org.example.Maps.Viewer.desktop\n\n"
      "P:musl\nV:1.2.4-r2\nF:lib\nR:libc.musl-x86_64.so.1\n");
  ASSERT_EQ(apk.size(), 2u);
  EXPECT_EQ(apk.at("maps").version, "44.1-r0");
  EXPECT_EQ(apk.at("maps").appIds,
            (std::vector<std::string>{"org.example.Maps", "org.example.Maps.Viewer"}));
  EXPECT_TRUE(apk.at("musl").appIds.empty());
}

TEST(PackageDatabaseTest, ReadsDpkgAgainAfterAnUpgradeAndFindsApk) {
  const fs::path root = fs::temp_directory_path() / ("packages-" + std::to_string(getpid()));
  fs::remove_all(root);
  fs::create_directories(root / "dpkg/info");
  fs::create_directories(root / "apk");
  auto write = [&](const fs::path& path, const std::string& text) {
    std::ofstream(root / path, std::ios::trunc) << text;
  };
  write("dpkg/status", kStatus);
  write("dpkg/info/editor.list", "/usr/share/applications/org.example.Editor.desktop\n");

  auto database =
      PackageDatabase::Find((root / "dpkg").string(), (root / "apk/installed").string());
  ASSERT_TRUE(database);
  EXPECT_EQ(database->format(), PackageDatabase::Format::kDpkg);
  EXPECT_EQ(database->fileName(), "status");
  EXPECT_TRUE(database->read());
  EXPECT_FALSE(database->read());  // nothing changed
  EXPECT_EQ(database->versionOfApp("org.example.Editor"), "1:2.4-1");
  EXPECT_EQ(database->appVersions(), (InstalledVersions{{"org.example.Editor", "editor 1:2.4-1"}}));

  // The upgrade brings a second application; the new version's list is read.
  std::string upgraded = kStatus;
  upgraded.replace(upgraded.find("1:2.4-1"), 7, "1:2.5-1");
  write("dpkg/status", upgraded);
  write("dpkg/info/editor.list",
        "/usr/share/applications/org.example.Editor.desktop\n"
        "/usr/share/applications/org.example.Editor.Preview.desktop\n");
  EXPECT_TRUE(database->read());
  EXPECT_EQ(database->appIdsOf("editor"),
            (std::vector<std::string>{"org.example.Editor", "org.example.Editor.Preview"}));
  EXPECT_EQ(database->versionOfApp("org.example.Editor.Preview"), "1:2.5-1");
  EXPECT_FALSE(database->versionOfApp("libfoo"));

  fs::remove(root / "dpkg/status");
  write("apk/installed", "P:maps\nV:1\n");
  database = PackageDatabase::Find((root / "dpkg").string(), (root / "apk/installed").string());
  ASSERT_TRUE(database);
  EXPECT_EQ(database->format(), PackageDatabase::Format::kApk);
  EXPECT_EQ(database->directory(), (root / "apk").string());
  fs::remove_all(root);
}

// The transactions of a software centre, with a package database the test fills as the
// package manager would.
class PackageTransactionsTest : public ::testing::Test {
 protected:
  std::map<std::string, std::vector<std::string>> database_{{"editor", {"org.example.Editor"}}};
  std::set<std::string> everInstalled_{"org.example.Editor"};
  PackageTransactions transactions_{
      PackageFacts{[this](const std::string& package) {
                     auto it = database_.find(package);
                     return it == database_.end() ? std::vector<std::string>{} : it->second;
                   },
                   [this](const std::string& appId) { return everInstalled_.count(appId) != 0; }}};
};

TEST_F(PackageTransactionsTest, AUserUpdateStartsAndFinishes) {
  transactions_.created("/1", packagekit::kRoleUpdatePackages, 1000, 0);
  EXPECT_TRUE(transactions_.package("/1", packagekit::kInfoUpdating, "libfoo;3.1;amd64;deb")
                  .empty());  // no application
  EXPECT_EQ(transactions_.package("/1", packagekit::kInfoUpdating, "editor;2.5;amd64;deb"),
            (std::vector<InstallNotice>{
                {Kind::kStarted, "org.example.Editor", true, false, kInstallTypeStoreFrontEnd}}));
  // Announced once, however often the package is reported.
  EXPECT_TRUE(
      transactions_.package("/1", packagekit::kInfoUpdating, "editor;2.5;amd64;deb").empty());
  EXPECT_TRUE(transactions_.claims("org.example.Editor"));
  EXPECT_EQ(transactions_.finished("/1", packagekit::kExitSuccess),
            (std::vector<InstallNotice>{
                {Kind::kInstalled, "org.example.Editor", true, false, kInstallTypeStoreFrontEnd}}));
  EXPECT_FALSE(transactions_.claims("org.example.Editor"));
  EXPECT_FALSE(transactions_.known("/1"));
}

TEST_F(PackageTransactionsTest, NewPackagesAnnounceOnceUnpackedAndEndAsFailedOrCancelled) {
  // Root's transaction: an unattended one. The new package names no application until the
  // database has it.
  transactions_.created("/2", packagekit::kRoleInstallPackages, 0, 0);
  EXPECT_TRUE(transactions_.package("/2", packagekit::kInfoInstalling, "chat;1;amd64;deb").empty());
  database_["chat"] = {"org.example.Chat"};
  everInstalled_.insert("org.example.Chat");  // installed once before: a reinstall
  EXPECT_EQ(transactions_.databaseChanged(),
            (std::vector<InstallNotice>{
                {Kind::kStarted, "org.example.Chat", false, true, kInstallTypeUnattendedUpdate}}));
  EXPECT_EQ(transactions_.finished("/2", 2 /* failed */),
            (std::vector<InstallNotice>{
                {Kind::kFailed, "org.example.Chat", false, true, kInstallTypeUnattendedUpdate}}));

  transactions_.created("/3", packagekit::kRoleInstallPackages, 1000, 0);
  transactions_.package("/3", packagekit::kInfoInstalling, "chat;1;amd64;deb");
  EXPECT_EQ(transactions_.finished("/3", packagekit::kExitCancelledPriority).at(0).kind,
            Kind::kCancelled);
}

TEST_F(PackageTransactionsTest, RemovalsSimulationsAndStrangersTellOnlyWhatHappened) {
  // A removal says nothing until it succeeds; the package is mapped while still installed.
  transactions_.created("/4", packagekit::kRoleRemovePackages, 1000, 0);
  EXPECT_TRUE(transactions_.package("/4", packagekit::kInfoRemoving, "editor;2;all;deb").empty());
  database_.erase("editor");
  EXPECT_EQ(transactions_.finished("/4", packagekit::kExitSuccess),
            (std::vector<InstallNotice>{{Kind::kUninstalled, "org.example.Editor"}}));
  database_["editor"] = {"org.example.Editor"};
  transactions_.created("/5", packagekit::kRoleRemovePackages, 1000, 0);
  transactions_.package("/5", packagekit::kInfoRemoving, "editor;2;all;deb");
  EXPECT_TRUE(transactions_.finished("/5", 2 /* failed */).empty());

  // A simulation, a download-only run and a query change nothing; an unknown path neither.
  transactions_.created("/6", packagekit::kRoleUpdatePackages, 1000, packagekit::kFlagSimulate);
  transactions_.created("/7", packagekit::kRoleUpdatePackages, 0, packagekit::kFlagOnlyDownload);
  transactions_.created("/8", 17 /* resolve */, 1000, 0);
  for (const char* path : {"/6", "/7", "/8", "/9"}) {
    EXPECT_TRUE(transactions_.package(path, packagekit::kInfoUpdating, "editor;3;all;").empty());
    EXPECT_TRUE(transactions_.finished(path, packagekit::kExitSuccess).empty());
  }
}

}  // namespace
}  // namespace tl::linuxdev
