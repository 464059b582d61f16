// An application's CPU on Linux from its unit's cgroup: booked to the state it leaves, counted
// from 0 for a unit that appears once the daemon runs, and kept when the daily report read it
// before the unit went away with its counter.
#include "platform/linux/apps/app_cpu.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace {

namespace fs = std::filesystem;
using namespace tl::linuxdev;

class AppCpuTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all(root_);
    fs::create_directories(root_ / "proc");
    std::ofstream(root_ / "proc/stat") << "cpu  100 0 50 900 0 0 0 0 0 0\n";
  }
  void TearDown() override { fs::remove_all(root_); }

  void counter(const std::string& cgroup, double seconds) {
    fs::create_directories(root_ / ("cgroup" + cgroup));
    std::ofstream(root_ / ("cgroup" + cgroup) / "cpu.stat")
        << "usage_usec " << static_cast<long long>(seconds * 1e6) << "\n";
  }

  fs::path root_ = fs::temp_directory_path() / ("tallyd-app-cpu-" + std::to_string(::getpid()));
  double now_ = 0;
  std::vector<std::string> lines_;
  AppCpu cpu_{(root_ / "cgroup").string(), (root_ / "proc").string(), [this] { return now_; },
              [this](std::string_view line) { lines_.emplace_back(line); }};
};

TEST_F(AppCpuTest, CountsNewUnitsWholeAndKeepsWhatTheDailyReadingSaw) {
  const std::string unit = "/app.slice/app-notes.scope";
  cpu_.startedUp();
  // The unit appears with 1.5 s already used since its start: all of it the app's, on screen.
  counter(unit, 1.5);
  now_ = 10;
  cpu_.update({{"notes", {{unit}, {}}}}, {{"notes", 4242, 8}});
  counter(unit, 4);
  now_ = 20;
  cpu_.update({{"notes", {{unit}, {}}}}, {{"notes", 4242, 4}});  // leaves the screen
  // 1 s more in the background, read when the daily report is sent; then the unit is gone.
  counter(unit, 5);
  now_ = 30;
  cpu_.refresh();
  fs::remove_all(root_ / "cgroup");
  now_ = 40;
  cpu_.update({{"notes", {}}}, {{"notes", -1, 1}});

  tl::platform::CpuUse use;
  cpu_.read(&use);
  ASSERT_EQ(use.apps.size(), 1u);
  EXPECT_EQ(use.apps[0], (tl::platform::AppUse{"notes", 10, 20, 4, 1, false}));
  EXPECT_EQ(use.deviceCpu, 1.5);  // 150 busy ticks at 100 a second
  EXPECT_TRUE(lines_.empty());

  // A unit whose counter holds garbage: said once, and its CPU unknown.
  counter(unit, 1);
  cpu_.update({{"notes", {{unit}, {}}}}, {{"notes", 4243, 8}});
  std::ofstream(root_ / ("cgroup" + unit) / "cpu.stat") << "usage_usec many\n";
  cpu_.read(&use);
  cpu_.read(&use);
  ASSERT_EQ(lines_.size(), 1u);
  EXPECT_NE(lines_[0].find("cpu.stat: no CPU time in it"), std::string::npos) << lines_[0];
  ASSERT_EQ(use.apps.size(), 1u);
  EXPECT_TRUE(use.apps[0].cpuUnknown);
}

}  // namespace
