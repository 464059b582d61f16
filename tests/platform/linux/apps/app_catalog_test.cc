// The application catalog on a snapshot of application directories: desktop entries, AppStream
// metainfo, a Flatpak installation and package versions.
#include "platform/linux/apps/app_catalog.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace tl::linuxdev {
namespace {

namespace fs = std::filesystem;

class AppCatalogTest : public ::testing::Test {
 protected:
  void SetUp() override {
    root_ = fs::temp_directory_path() / ("catalog-" + std::to_string(::getpid()));
    fs::remove_all(root_);
  }
  void TearDown() override { fs::remove_all(root_); }

  void write(const fs::path& relative, const std::string& text) {
    fs::create_directories((root_ / relative).parent_path());
    std::ofstream(root_ / relative, std::ios::binary) << text;
  }
  static std::string Entry(const std::string& extra = "") {
    return "[Desktop Entry]\nType=Application\nName=App\nExec=app\n" + extra;
  }

  // A Flatpak deployment as flatpak leaves it: the deploy file starts with the origin.
  void deploy(const std::string& appId, const std::string& branch, const std::string& commit,
              const std::string& origin) {
    const fs::path ref = fs::path("flatpak/app") / appId / "x86_64" / branch;
    write(ref / commit / "deploy", origin + std::string(1, '\0') + commit + std::string(1, '\0'));
    write(ref / commit / "export/share/applications" / (appId + ".desktop"), Entry());
    fs::create_directory_symlink(commit, root_ / ref / "active");
    fs::create_directory_symlink(fs::path("x86_64") / branch,
                                 root_ / "flatpak/app" / appId / "current");
  }

  fs::path root_;
};

TEST_F(AppCatalogTest, TypesVersionsCohortBetaVendorAndWindowClasses) {
  write("home/applications/org.example.Mine.desktop", Entry());
  // The user's entry hides the distribution's of the same ID.
  write("usr/applications/org.example.Mine.desktop", Entry("NoDisplay=true\n"));
  write("usr/applications/org.example.Editor.desktop", Entry("StartupWMClass=EditorWin\n"));
  write("usr/metainfo/org.example.Editor.metainfo.xml",
        "<?xml version=\"1.0\"?><component type=\"desktop-application\">"
        "<id>org.example.Editor</id><developer_name>Example Org</developer_name>"
        "<releases><release version=\"2.10\"/><release version=\"2.9.1\"/></releases>"
        "</component>");
  write("usr/applications/org.example.Hidden.desktop", Entry("NoDisplay=true\n"));
  write("usr/applications/org.example.Panel.desktop", Entry("OnlyShowIn=Phosh;GNOME;\n"));
  write("usr/applications/kde/konsole.desktop", Entry());
  write("usr/applications/org.example.Link.desktop", Entry("Type=Link\n"));
  deploy("org.example.Maps", "stable", "c0ffee", "flathub");
  deploy("org.example.Beta", "stable", "beef", "flathub-beta");

  CatalogSources sources;
  sources.userDataDir = root_ / "home";
  sources.systemDataDirs = {root_ / "usr"};
  sources.flatpakRefs = ReadFlatpakRefs({root_ / "flatpak", true});
  ASSERT_EQ(sources.flatpakRefs.size(), 2u);
  EXPECT_EQ(sources.flatpakRefs[1].origin, "flathub");
  sources.packageVersion = [this](const std::string& path) -> std::optional<std::string> {
    if (path == (root_ / "usr/applications/org.example.Editor.desktop").string()) return "2.10-1";
    return std::nullopt;
  };
  std::vector<std::string> developers;
  sources.vendorIdentifier = [&](const std::string& developer) {
    developers.push_back(developer);
    return platform::Uuid{};
  };
  const AppCatalog catalog(sources);

  auto type = [&](const std::string& id) { return catalog.find(id)->applicationType.value(); };
  EXPECT_EQ(type("org.example.Mine"), "User");
  EXPECT_EQ(type("org.example.Maps"), "User");
  EXPECT_EQ(type("org.example.Editor"), "System");
  EXPECT_EQ(type("org.example.Hidden"), "Hidden");
  EXPECT_EQ(type("org.example.Panel"), "Internal");
  EXPECT_EQ(type("kde-konsole"), "System");
  EXPECT_EQ(catalog.find("org.example.Link"), nullptr);
  EXPECT_EQ(catalog.find("org.example.Unknown"), nullptr);

  auto editor = catalog.find("org.example.Editor");
  EXPECT_EQ(editor->bundleVersion, "2.10-1");
  EXPECT_EQ(editor->shortVersionString, "2.10");  // the newest release, not the first listed
  EXPECT_FALSE(editor->storeCohortMetadata);
  EXPECT_FALSE(editor->storeFront);
  EXPECT_FALSE(editor->itemID);
  auto maps = catalog.find("org.example.Maps");
  EXPECT_EQ(maps->bundleVersion, "c0ffee");
  EXPECT_EQ(maps->storeCohortMetadata, "flathub/stable");
  EXPECT_TRUE(maps->entitlements.empty());
  EXPECT_TRUE(
      platform::Find(catalog.find("org.example.Beta")->entitlements, "beta-reports-active"));
  // The developer is the metainfo's, else the ID's reverse-DNS prefix.
  EXPECT_NE(std::find(developers.begin(), developers.end(), "Example Org"), developers.end());
  EXPECT_NE(std::find(developers.begin(), developers.end(), "org.example"), developers.end());

  EXPECT_EQ(catalog.resolve("editorwin"), "org.example.Editor");
  EXPECT_EQ(catalog.resolve("ORG.EXAMPLE.MAPS"), "org.example.Maps");
  EXPECT_EQ(catalog.resolve("xterm"), "xterm");
}

TEST(VendorIdentifierTest, StablePerDeveloperAndDifferentAcrossDevelopers) {
  auto a = MachineVendorIdentifier("org.example");
  if (!a) GTEST_SKIP() << "this machine has no machine ID";
  EXPECT_EQ(MachineVendorIdentifier("org.example"), a);
  EXPECT_NE(MachineVendorIdentifier("org.other"), a);
  EXPECT_EQ(a->bytes[6] >> 4, 4);  // a version-4 UUID, as systemd derives it
}

}  // namespace
}  // namespace tl::linuxdev
