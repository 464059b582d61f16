// Power-state aggregation along device traces: every expected value below is worked out by hand
// from the readings in the trace.
#include "host/replay/replay_fixture.h"

namespace {

using namespace tl::testing;
using ::testing::ElementsAre;

std::string Battery(int capacity, int absolute, int raw, int millivolts, int adapter = 0,
                    bool charging = false) {
  return Json{{"CurrentCapacity", capacity},  {"MaxCapacity", 2500},
              {"AbsoluteCapacity", absolute}, {"VeltroRawCurrentCapacity", raw},
              {"VeltroRawMaxCapacity", 2600}, {"Voltage", millivolts},
              {"AdapterInfo", adapter},       {"IsCharging", charging}}
      .dump();
}

TEST_F(ReplayTest, AnUnpluggedHourWithTheScreenOnThenOff) {
  Result run = replay(
      R"({"device": {"brightness_level": 0.555, "backlight": {"min": 0, "max": 100, "value": 50}, "battery": )" +
      Battery(2000, 2100, 2200, 4000) + R"(}}
{"at": 0, "load": true}
{"at": 1800, "set": {"battery": )" +
      Battery(1900, 1990, 2080, 3800) + R"(}}
{"at": 1800, "backlight": 0}
{"at": 5400, "set": {"battery": )" +
      Battery(1820, 1900, 1990, 3700) + R"(}}
{"at": 5400, "backlight": 60}
)");
  ASSERT_EQ(run.status, 0) << run.err;
  auto commits = Commits(run);
  ASSERT_EQ(commits.size(), 7u);
  // Start-up: the present conditions replayed as five commits in the same second; becoming
  // awake leaves "unplugged_asleep", the display coming on leaves "unplugged_screen_off".
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(commits[i].first, 0);
    EXPECT_EQ(State(commits[i].second, "unplugged"), (std::vector<int64_t>{0, 0, 0, 0, 0}));
  }
  EXPECT_EQ(commits[2].second["com.veltro.power.state.unplugged_asleep.count"], 1);
  EXPECT_EQ(commits[3].second["com.veltro.power.state.unplugged_screen_off.count"], 1);

  // 1800 s with the screen on: volts (3.8 + 4.0) / 2 = 3.9; drains 3.9 x 100, 110 and 120 mAh.
  const Json& off = commits[5].second;
  EXPECT_EQ(commits[5].first, 1800);
  EXPECT_EQ(State(off, "unplugged"), (std::vector<int64_t>{1800, 390, 429, 468, 0}));
  EXPECT_EQ(State(off, "unplugged_awake"), (std::vector<int64_t>{1800, 390, 429, 468, 0}));
  EXPECT_EQ(State(off, "unplugged_screen_on"), (std::vector<int64_t>{1800, 390, 429, 468, 1}));
  EXPECT_EQ(State(off, "unplugged_screen_off"), (std::vector<int64_t>{0, 0, 0, 0, 0}));
  EXPECT_EQ(State(off, "pluggedin"), (std::vector<int64_t>{0, 0, 0, 0, 0}));
  EXPECT_EQ(off["com.veltro.power.state.unplugged_lpm_off_24hr.energy"], 390);
  EXPECT_EQ(off["com.veltro.power.state.unplugged_lpm_on_24hr.energyRaw"], -1000000);
  EXPECT_EQ(off["com.veltro.power.backlight.usersetting"], 55);  // 0.555 truncated

  // 3600 s with the screen off: volts (3.7 + 3.8) / 2 = 3.75; drains 3.75 x 80 = 300 and
  // 3.75 x 90 = 337.5, rounded half away from zero to 338.
  const Json& on = commits[6].second;
  EXPECT_EQ(State(on, "unplugged"), (std::vector<int64_t>{3600, 300, 338, 338, 0}));
  EXPECT_EQ(State(on, "unplugged_awake"), (std::vector<int64_t>{3600, 300, 338, 338, 0}));
  EXPECT_EQ(State(on, "unplugged_screen_off"), (std::vector<int64_t>{3600, 300, 338, 338, 1}));
  EXPECT_EQ(State(on, "unplugged_screen_on"), (std::vector<int64_t>{0, 0, 0, 0, 0}));
  EXPECT_EQ(on.size(), 62u);  // 11 states x 5 keys, six 24hr keys, the user setting

  // The whole commit at 1800, key for key: the interval was in base state 6 (unplugged, awake,
  // display on), so only the states containing 6 carry it, and only the screen-on state was left.
  Json expected = Json::object();
  const std::vector<std::string> carrying = {"unplugged", "unplugged_awake", "unplugged_screen_on",
                                             "unplugged_lpm_off"};
  for (const char* name :
       {"unplugged", "unplugged_asleep", "unplugged_awake", "unplugged_screen_on",
        "unplugged_screen_off", "unplugged_lpm_on", "unplugged_lpm_off", "pluggedin",
        "pluggedin_charging", "pluggedin_screen_on", "pluggedin_screen_off"}) {
    const bool carries = std::find(carrying.begin(), carrying.end(), name) != carrying.end();
    const std::string key = std::string("com.veltro.power.state.") + name;
    expected[key + ".duration"] = carries ? 1800 : 0;
    expected[key + ".energy"] = carries ? 390 : 0;
    expected[key + ".energyAbsolute"] = carries ? 429 : 0;
    expected[key + ".energyRaw"] = carries ? 468 : 0;
    expected[key + ".count"] = std::string(name) == "unplugged_screen_on" ? 1 : 0;
  }
  expected["com.veltro.power.state.unplugged_lpm_off_24hr.energy"] = 390;
  expected["com.veltro.power.state.unplugged_lpm_off_24hr.energyAbsolute"] = 429;
  expected["com.veltro.power.state.unplugged_lpm_off_24hr.energyRaw"] = 468;
  expected["com.veltro.power.state.unplugged_lpm_on_24hr.energy"] = -1000000;
  expected["com.veltro.power.state.unplugged_lpm_on_24hr.energyAbsolute"] = -1000000;
  expected["com.veltro.power.state.unplugged_lpm_on_24hr.energyRaw"] = -1000000;
  expected["com.veltro.power.backlight.usersetting"] = 55;
  EXPECT_EQ(off, expected);
}

TEST_F(ReplayTest, PluggedInAndChargingKeepsOnlyGains) {
  Result run = replay(R"({"device": {"battery": )" + Battery(2000, 2000, 2000, 4000) + R"(}}
{"at": 0, "load": true}
{"at": 600, "set": {"battery": )" +
                      Battery(1990, 1990, 1990, 3960) + R"(}}
{"at": 600, "battery": {"AdapterInfo": 1, "IsCharging": true}}
{"at": 2400, "battery": {"CurrentCapacity": 2150, "AbsoluteCapacity": 2150, "VeltroRawCurrentCapacity": 2150, "Voltage": 4100}}
{"at": 3000, "battery": {"CurrentCapacity": 2140, "AbsoluteCapacity": 2140, "VeltroRawCurrentCapacity": 2140}}
)");
  ASSERT_EQ(run.status, 0) << run.err;
  auto commits = Commits(run);
  ASSERT_EQ(commits.size(), 11u);  // five at start-up, two per battery message
  // Plugging in: 600 s unplugged draining 3.98 V x 10 mAh = 39.8; every unplugged state with
  // the screen on is left.
  EXPECT_EQ(State(commits[5].second, "unplugged_screen_on"),
            (std::vector<int64_t>{600, 40, 40, 40, 1}));
  EXPECT_EQ(State(commits[5].second, "pluggedin"), (std::vector<int64_t>{0, 0, 0, 0, 0}));
  // Charging starts within the same second: nothing is measured, nothing composite is left.
  EXPECT_EQ(State(commits[6].second, "pluggedin"), (std::vector<int64_t>{0, 0, 0, 0, 0}));
  // 1800 s charging: a gain of (4.1 + 3.96) / 2 = 4.03 V x 160 mAh = 644.8, booked negative.
  EXPECT_EQ(State(commits[7].second, "pluggedin"),
            (std::vector<int64_t>{1800, -645, -645, -645, 0}));
  EXPECT_EQ(State(commits[7].second, "pluggedin_charging"),
            (std::vector<int64_t>{1800, -645, -645, -645, 0}));
  EXPECT_EQ(State(commits[7].second, "pluggedin_screen_on"),
            (std::vector<int64_t>{1800, -645, -645, -645, 0}));
  // 600 s charging with a drop of 10 mAh: drains are filtered to 0.
  EXPECT_EQ(State(commits[9].second, "pluggedin_charging"),
            (std::vector<int64_t>{600, 0, 0, 0, 0}));
}

TEST_F(ReplayTest, StartingInLowPowerModeAndLeavingIt) {
  Result run = replay(
      R"({"device": {"lpm": 1, "battery": {"CurrentCapacity": 1330, "MaxCapacity": 2000, "AbsoluteCapacity": 1330, "VeltroRawCurrentCapacity": 1330, "Voltage": 4000}}}
{"at": 0, "load": true}
{"at": 100, "set": {"battery": {"CurrentCapacity": 1000, "MaxCapacity": 2000, "AbsoluteCapacity": 1000, "VeltroRawCurrentCapacity": 1000, "Voltage": 4000}}}
{"at": 100, "notify": {"name": "com.veltro.system.batterysavermode", "state": 0}}
)");
  ASSERT_EQ(run.status, 0) << run.err;
  auto commits = Commits(run);
  ASSERT_EQ(commits.size(), 6u);
  const std::string level70 = "com.veltro.power.state.70.LPM.";  // 1330 / 2000 rounds up to 70 %
  // The replay's first four events run with low-power mode still off: the disable key fires at
  // once; the fifth switches it on, which leaves "unplugged_lpm_off" and enables it again.
  EXPECT_EQ(commits[0].second[level70 + "disable"], 1);
  for (int i = 1; i < 4; ++i) {
    EXPECT_FALSE(commits[i].second.contains(level70 + "disable"));
    EXPECT_FALSE(commits[i].second.contains(level70 + "enable"));
  }
  const Json& enabled = commits[4].second;
  EXPECT_EQ(enabled[level70 + "enable"], 1);
  EXPECT_EQ(enabled["com.veltro.power.state.unplugged_lpm_off.count"], 1);
  EXPECT_EQ(enabled["com.veltro.power.state.unplugged_lpm_on_24hr.energy"], 0);
  EXPECT_EQ(enabled["com.veltro.power.state.unplugged_lpm_off_24hr.energy"], -1000000);

  // Leaving it 100 s later, with 330 mAh drained at 4 V: the interval was in low-power mode, but
  // the 24hr keys follow the state after the event, so the 1320 mWh show only under the
  // composite; the disable key carries the level read in this step, 50 %.
  const Json& disabled = commits[5].second;
  EXPECT_EQ(disabled["com.veltro.power.state.50.LPM.disable"], 1);
  EXPECT_FALSE(disabled.contains(level70 + "enable"));
  EXPECT_EQ(State(disabled, "unplugged_lpm_on"), (std::vector<int64_t>{100, 1320, 1320, 1320, 1}));
  EXPECT_EQ(disabled["com.veltro.power.state.unplugged_lpm_off_24hr.energy"], 0);
  EXPECT_EQ(disabled["com.veltro.power.state.unplugged_lpm_on_24hr.energy"], -1000000);
}

TEST_F(ReplayTest, TheBookingWindow) {
  Result run = replay(R"({"device": {"battery": )" + Battery(4000, 4000, 4000, 4000) + R"(}}
{"at": 0, "load": true}
{"at": 86400, "backlight": 0}
{"at": 172800.5, "backlight": 40}
{"at": 172900, "set": {"battery": )" +
                      Battery(1500, 1500, 1500, 4000) + R"(}}
{"at": 172900, "backlight": 0}
{"at": 173000, "backlight": 30}
)");
  ASSERT_EQ(run.status, 0) << run.err;
  auto commits = Commits(run);
  ASSERT_EQ(commits.size(), 9u);
  // Exactly a day is booked; half a second more is discarded, but the exit is still counted.
  EXPECT_EQ(State(commits[5].second, "unplugged_screen_on"),
            (std::vector<int64_t>{86400, 0, 0, 0, 1}));
  EXPECT_EQ(State(commits[6].second, "unplugged_screen_off"),
            (std::vector<int64_t>{0, 0, 0, 0, 1}));
  // All three drains are 4 V x 2500 mAh = 10000: discarded, with the exit counted...
  EXPECT_EQ(State(commits[7].second, "unplugged_screen_on"), (std::vector<int64_t>{0, 0, 0, 0, 1}));
  // ...and the readings moved on: the next interval starts at 172900 with nothing drained.
  EXPECT_EQ(State(commits[8].second, "unplugged_screen_off"),
            (std::vector<int64_t>{100, 0, 0, 0, 1}));
}

TEST_F(ReplayTest, WakesCountTheirReasonsThenCommit) {
  Result run = replay(R"({"device": {"wake_reason": "spu_ferrite dock"}}
{"at": 0, "load": true}
{"at": 10, "power": {"message": "will_sleep", "id": 1}}
{"at": 20, "power": {"message": "powered_on", "id": 2}}
{"at": 30, "set": {"wake_reason": null}}
{"at": 30, "power": {"message": "powered_on", "id": 3}}
)");
  ASSERT_EQ(run.status, 0) << run.err;
  std::vector<Json> wakes;
  for (const Json& line : run.only("batch")) {
    if (line["batch"]["first"].contains("com.veltro.power.wakecount")) wakes.push_back(line);
  }
  ASSERT_EQ(wakes.size(), 2u);
  EXPECT_EQ(wakes[0]["batch"]["first"], Json::parse(R"({"com.veltro.power.wake_reasons.dock": 1,
                            "com.veltro.power.wake_reasons.spu_ferrite": 1,
                            "com.veltro.power.wakecount": 1})"));
  // An unreadable reason is "<unknown>": a token of no known kind.
  EXPECT_EQ(wakes[1]["batch"]["first"],
            Json::parse(
                R"({"com.veltro.power.wake_reasons.other": 1, "com.veltro.power.wakecount": 1})"));
  // After each wake's batch, the awake event's commit: 10 s asleep with the display bit still
  // set (base state 4), left for awake.
  auto commits = Commits(run);
  ASSERT_EQ(commits.size(), 8u);
  EXPECT_EQ(commits[6].first, 20);
  EXPECT_EQ(State(commits[6].second, "unplugged_asleep"), (std::vector<int64_t>{10, 0, 0, 0, 1}));
  EXPECT_EQ(State(commits[6].second, "unplugged_screen_off"),
            (std::vector<int64_t>{0, 0, 0, 0, 0}));
  EXPECT_EQ(commits[6].second["com.veltro.power.state.unplugged.duration"], 10);
}

}  // namespace
