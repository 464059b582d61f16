// The application side's pure parts: the run-state machine on event sequences, application IDs
// from unit names, cgroups and Flatpak instances, and install notices from installed versions.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "platform/linux/apps/app_ids.h"
#include "platform/linux/apps/app_run_states.h"
#include "platform/linux/apps/flatpak_instances.h"
#include "platform/linux/apps/install_notices.h"

namespace tl::linuxdev {
namespace {

using Changes = std::vector<AppStateChange>;

AppUnit Unit(std::string appId, std::set<int32_t> pids, bool frozen = false) {
  return AppUnit{std::move(appId), true, frozen, true, std::move(pids)};
}

TEST(AppRunStatesTest, WindowsAndUnitsMakeForegroundBackgroundAndTerminated) {
  AppRunStates states;
  // Launched by the desktop: its scope appears before its window.
  EXPECT_EQ(states.unit("app-gnome-org.example.Notes-4711.scope", Unit("org.example.Notes", {42})),
            (Changes{{"org.example.Notes", 42, kStateBackgroundRunning}}));
  EXPECT_EQ(states.toplevel(1, {"org.example.Notes", true, 0}),
            (Changes{{"org.example.Notes", 42, kStateForegroundRunning}}));
  // A second window of the same app, not activated, changes nothing; the same state is never
  // reported twice in a row.
  EXPECT_EQ(states.toplevel(2, {"org.example.Notes", false, 0}), Changes{});
  EXPECT_EQ(states.toplevel(1, {"org.example.Notes", true, 0}), Changes{});
  // Focus moves to another app's window: one leaves the foreground, the other enters it.
  EXPECT_EQ(states.toplevel(3, {"org.example.Maps", true, 0}),
            (Changes{{"org.example.Maps", -1, kStateForegroundRunning}}));
  EXPECT_EQ(states.toplevel(1, {"org.example.Notes", false, 0}),
            (Changes{{"org.example.Notes", 42, kStateBackgroundRunning}}));
  // Closing the windows leaves the app running as long as its unit has a process.
  EXPECT_EQ(states.toplevelClosed(1), Changes{});
  EXPECT_EQ(states.toplevelClosed(2), Changes{});
  // Frozen without a window: suspended; thawed: running again.
  EXPECT_EQ(
      states.unit("app-gnome-org.example.Notes-4711.scope", Unit("org.example.Notes", {42}, true)),
      (Changes{{"org.example.Notes", 42, kStateBackgroundTaskSuspended}}));
  EXPECT_EQ(states.unit("app-gnome-org.example.Notes-4711.scope", Unit("org.example.Notes", {42})),
            (Changes{{"org.example.Notes", 42, kStateBackgroundRunning}}));
  // Its last process exits: terminated, with the pid it had.
  EXPECT_EQ(states.processExited(42), (Changes{{"org.example.Notes", 42, kStateTerminated}}));
  EXPECT_EQ(states.unitGone("app-gnome-org.example.Notes-4711.scope"), Changes{});
  // The compositor goes away with the other app's only window: it is gone too.
  EXPECT_EQ(states.toplevelsGone(), (Changes{{"org.example.Maps", -1, kStateTerminated}}));
  EXPECT_TRUE(states.running().empty());
}

TEST(AppRunStatesTest, AWindowThatChangesItsAppIdMovesBetweenApps) {
  AppRunStates states;
  states.toplevel(1, {"org.example.Splash", true, 0});
  EXPECT_EQ(states.toplevel(1, {"org.example.Game", true, 7}),
            (Changes{{"org.example.Game", 7, kStateForegroundRunning},
                     {"org.example.Splash", -1, kStateTerminated}}));
  // An unreadable cgroup leaves a unit running on its state alone; an inactive unit is gone.
  EXPECT_EQ(
      states.unit("app-org.example.Sync@1.service", {"org.example.Sync", true, false, false, {}}),
      (Changes{{"org.example.Sync", -1, kStateBackgroundRunning}}));
  EXPECT_EQ(
      states.unit("app-org.example.Sync@1.service", {"org.example.Sync", false, false, true, {}}),
      (Changes{{"org.example.Sync", -1, kStateTerminated}}));
  // The dictionary carries a pid only when one is known.
  EXPECT_EQ(StateInfo({"org.example.Game", 7, kStateForegroundRunning}),
            (platform::Dictionary{{"bundle", "org.example.Game"}, {"pid", 7}, {"state", 8}}));
  EXPECT_FALSE(platform::Find(StateInfo({"org.example.Sync", -1, 1}), "pid"));
}

TEST(AppRunStatesTest, ABatchSettlesOnceForTheStatesItEndsIn) {
  AppRunStates states;
  states.toplevel(1, {"org.example.Notes", true, 0});
  states.toplevel(2, {"org.example.Maps", false, 0});
  // The focus moves to Notes' new window: its first window's deactivation comes first, yet Notes
  // never left the foreground.
  EXPECT_EQ(states.toplevels({{1, Toplevel{"org.example.Notes", false, 0}},
                              {3, Toplevel{"org.example.Notes", true, 0}}}),
            Changes{});
  // The focus moves to Maps as Notes' active window closes: both change, in identifier order.
  EXPECT_EQ(states.toplevels({{3, std::nullopt}, {2, Toplevel{"org.example.Maps", true, 0}}}),
            (Changes{{"org.example.Maps", -1, kStateForegroundRunning},
                     {"org.example.Notes", -1, kStateBackgroundRunning}}));
  // A window that opens and closes within one batch leaves nothing behind.
  EXPECT_EQ(states.toplevels({{4, Toplevel{"org.example.Splash", true, 0}}, {4, std::nullopt}}),
            Changes{});
  EXPECT_EQ(states.running().size(), 2u);
}

TEST(AppIdsTest, UnitNamesCgroupsAndFlatpakInfo) {
  EXPECT_EQ(AppIdFromUnitName("app-gnome-org.gnome.Maps-12345.scope"), "org.gnome.Maps");
  EXPECT_EQ(AppIdFromUnitName("app-flatpak-org.mozilla.firefox-998.scope"), "org.mozilla.firefox");
  EXPECT_EQ(AppIdFromUnitName("app-org.kde.dolphin@0a1b2c.service"), "org.kde.dolphin");
  EXPECT_EQ(AppIdFromUnitName("app-org.kde.konsole.service"), "org.kde.konsole");
  // A dash inside the ID is escaped; the launcher is optional.
  EXPECT_EQ(AppIdFromUnitName("app-firefox\\x2desr-77.scope"), "firefox-esr");
  EXPECT_EQ(AppIdFromUnitName("app-gnome-firefox\\x2desr-77.scope"), "firefox-esr");
  for (const char* other :
       {"session-2.scope", "app.slice", "app-.scope", "app-x\\x2.service", "dbus.service"}) {
    EXPECT_EQ(AppIdFromUnitName(other), std::nullopt) << other;
  }
  const char* cgroup =
      "1:name=systemd:/ignored\n"
      "0::/user.slice/user-1000.slice/user@1000.service/app.slice/"
      "app-flatpak-org.gnome.Maps-31.scope\n";
  EXPECT_EQ(AppIdFromCgroup(cgroup), "org.gnome.Maps");
  EXPECT_EQ(AppIdFromCgroup("0::/user.slice/user-1000.slice/session-3.scope\n"), std::nullopt);
  EXPECT_EQ(AppIdFromFlatpakInfo("[Application]\nname=org.gnome.Maps\nruntime=x\n"),
            "org.gnome.Maps");
  EXPECT_EQ(AppIdFromFlatpakInfo("not a key file"), std::nullopt);
  EXPECT_EQ(AppIdFromFlatpakInfo("[Application]\nname=\n"), std::nullopt);
}

TEST(FlatpakInstanceTest, NeedsTheInfoAndAChildPid) {
  const std::filesystem::path dir =
      std::filesystem::temp_directory_path() / ("instance-" + std::to_string(getpid()));
  std::filesystem::create_directories(dir);
  auto write = [&](const char* name, const std::string& text) {
    std::ofstream(dir / name, std::ios::trunc) << text;
  };
  write("info", "[Application]\nname=org.gnome.Maps\n");
  EXPECT_FALSE(ReadFlatpakInstance(dir));  // bwrap has not written its info yet
  for (const char* bad : {"{\"child-pid\": ", "[12]", "{\"child-pid\": \"12\"}",
                          "{\"child-pid\": -1}", "{\"child-pid\": 4294967296}"}) {
    write("bwrapinfo.json", bad);
    EXPECT_FALSE(ReadFlatpakInstance(dir)) << bad;
  }
  write("bwrapinfo.json", "{\n    \"child-pid\": 4711,\n    \"net-namespace\": 40265\n}\n");
  const auto instance = ReadFlatpakInstance(dir);
  ASSERT_TRUE(instance);
  EXPECT_EQ(instance->appId, "org.gnome.Maps");
  EXPECT_EQ(instance->pid, 4711);
  std::filesystem::remove_all(dir);
}

TEST(InstallNoticesTest, InstallUpdateReinstallAndRemoval) {
  std::set<std::string> ever{"org.example.Old"};
  InstalledVersions before{{"org.example.Maps", "c1"}, {"org.example.Notes", "a1"}};
  InstalledVersions after{
      {"org.example.Maps", "c2"}, {"org.example.New", "n1"}, {"org.example.Old", "o1"}};
  using Kind = InstallNotice::Kind;
  EXPECT_EQ(DiffInstalled(before, after, &ever),
            (std::vector<InstallNotice>{{Kind::kInstalled, "org.example.Maps", true, false},
                                        {Kind::kInstalled, "org.example.New", false, false},
                                        {Kind::kUninstalled, "org.example.Notes", false, false},
                                        {Kind::kInstalled, "org.example.Old", false, true}}));
  // Removed and installed again: now a reinstall.
  EXPECT_EQ(DiffInstalled(after, {}, &ever).size(), 3u);
  EXPECT_EQ(DiffInstalled({}, {{"org.example.New", "n2"}}, &ever),
            (std::vector<InstallNotice>{{Kind::kInstalled, "org.example.New", false, true}}));

  // The user's installation wins over the system's; refs not current count nowhere.
  std::vector<FlatpakRef> refs{
      {"org.example.Maps", "x86_64", "stable", "sys", "flathub", "", false, true},
      {"org.example.Maps", "x86_64", "stable", "usr", "flathub", "", true, true},
      {"org.example.Maps", "x86_64", "beta", "bet", "flathub-beta", "", true, false}};
  EXPECT_EQ(FlatpakVersions(refs), (InstalledVersions{{"org.example.Maps", "usr"}}));
}

}  // namespace
}  // namespace tl::linuxdev
