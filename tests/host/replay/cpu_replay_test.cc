// The trace's CPU counters on the simulated device become the store's raw facts of each power
// interval: each application's time and CPU in the foreground and the background, the device's
// CPU, a counter that goes back counted as unknown; bad counters are refused with the line.
#include "host/replay/replay_fixture.h"
#include "host/store/power_intervals.h"

namespace tl::testing {
namespace {

using ::testing::HasSubstr;

TEST_F(ReplayTest, CpuCountersBecomeEachIntervalsFacts) {
  const char* trace =
      R"({"device": {"battery": {"CurrentCapacity": 2000, "MaxCapacity": 2500, "Voltage": 4000}}}
{"at": 0, "load": true}
{"at": 10, "app_state": {"bundle": "a", "pid": 1, "state": 8}}
{"at": 100, "cpu": {"apps": {"a": 5}, "total": 20}}
{"at": 100, "battery": {"CurrentCapacity": 1990}}
{"at": 200, "cpu": {"apps": {"a": 8, "b": 1}}}
{"at": 200, "app_state": {"bundle": "a", "pid": 1, "state": 4}}
{"at": 300, "cpu": {"apps": {"a": 10}, "total": 35}}
{"at": 300, "backlight": 0}
{"at": 400, "restart": true}
{"at": 500, "cpu": {"apps": {"a": 4}, "total": 40}}
{"at": 500, "battery": {"CurrentCapacity": 1985}}
)";
  Result run = replay(trace);
  ASSERT_EQ(run.status, 0) << run.err;
  host::Database db(this->db(), host::Database::Mode::kReadOnly);
  const std::vector<host::PowerInterval> intervals = host::ReadPowerIntervals(db);
  ASSERT_EQ(intervals.size(), 3u);

  // 0-100 s on screen: 10 mAh at 4 V; a on screen from 10 s with 5 CPU seconds, of the
  // device's 20.
  EXPECT_EQ(intervals[0].duration, 100);
  EXPECT_EQ(intervals[0].energy, 40);
  EXPECT_FALSE(intervals[0].plugged);
  EXPECT_EQ(intervals[0].awake, true);
  EXPECT_TRUE(intervals[0].screen);
  EXPECT_EQ(intervals[0].brightness, 50);
  EXPECT_EQ(intervals[0].deviceCpu, 20);
  ASSERT_EQ(intervals[0].apps.size(), 1u);
  EXPECT_EQ(intervals[0].apps[0].bundle, "a");
  EXPECT_EQ(intervals[0].apps[0].foregroundSeconds, 90);
  EXPECT_EQ(intervals[0].apps[0].foregroundCpu, 5);
  EXPECT_EQ(intervals[0].apps[0].backgroundCpu, 0);

  // 100-300 s, ended by the screen going off: a 100 s in front (3 CPU seconds read as it left)
  // and 100 s behind (2); b, never reported running, used its 1 in the background.
  EXPECT_EQ(intervals[1].duration, 200);
  EXPECT_EQ(intervals[1].energy, 0);
  EXPECT_TRUE(intervals[1].screen);
  EXPECT_EQ(intervals[1].deviceCpu, 15);
  ASSERT_EQ(intervals[1].apps.size(), 2u);
  const host::IntervalApp& a = intervals[1].apps[0];
  EXPECT_EQ(a.foregroundSeconds, 100);
  EXPECT_EQ(a.backgroundSeconds, 100);
  EXPECT_EQ(a.foregroundCpu, 3);
  EXPECT_EQ(a.backgroundCpu, 2);
  EXPECT_EQ(intervals[1].apps[1].bundle, "b");
  EXPECT_EQ(intervals[1].apps[1].backgroundCpu, 1);

  // After the restart the new daemon counts from its own start; a's counter went back from 10
  // to 4: its CPU in the interval is unknown, never negative.
  EXPECT_EQ(intervals[2].duration, 100);
  EXPECT_EQ(intervals[2].energy, 20);
  EXPECT_FALSE(intervals[2].screen);
  EXPECT_EQ(intervals[2].deviceCpu, 5);
  ASSERT_EQ(intervals[2].apps.size(), 1u);
  EXPECT_EQ(intervals[2].apps[0].foregroundCpu, std::nullopt);
  EXPECT_EQ(intervals[2].apps[0].backgroundCpu, std::nullopt);
}

TEST_F(ReplayTest, BadCpuCountersStopTheReplayAtTheirLine) {
  const std::pair<const char*, const char*> cases[] = {
      {R"({"at": 9, "cpu": {"apps": {"a": -1}}})",
       "action \"cpu\": app a must be a number of CPU seconds, 0 to 10^12"},
      {R"({"at": 9, "cpu": {"total": "lots"}})",
       "action \"cpu\": total must be a number of CPU seconds"},
      {R"({"at": 9, "cpu": {"threads": 3}})", "action \"cpu\": must be {\"apps\""},
      {R"({"at": 9, "cpu": {}})", "action \"cpu\": must be {\"apps\""},
      {R"({"at": 9, "cpu": {"apps": [1]}})", "action \"cpu\": must be {\"apps\""},
  };
  for (const auto& [line, message] : cases) {
    SCOPED_TRACE(line);
    Result run = replay(std::string("{\"at\": 2, \"thermal\": 1}\n") + line + "\n");
    EXPECT_EQ(run.status, 65);
    EXPECT_THAT(run.err, HasSubstr("trace.jsonl:2: " + std::string(message)));
    EXPECT_FALSE(fs::exists(db()));
  }
}

}  // namespace
}  // namespace tl::testing
