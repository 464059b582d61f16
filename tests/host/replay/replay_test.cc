// tallyd replay: trace lines in, output lines and stored keys out, restarts and trace errors.
#include "host/replay/replay_fixture.h"

namespace {

using namespace tl::testing;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Json = nlohmann::json;
namespace fs = std::filesystem;

TEST_F(ReplayTest, ThermalActionsBecomeDistributionLinesAndStoredSamples) {
  Result run = replay(R"({"device": {"thermal_level": 0}}
{"at": 0, "load": true}
{"at": 5, "thermal": 2}
{"at": 6.5, "thermal": 0}
{"at": 60, "thermal": 3}
)");
  ASSERT_EQ(run.status, 0) << run.err;
  // Output lines are byte-exact: integers without, doubles with a decimal point.
  EXPECT_EQ(run.text("distribution"),
            "{\"at\":5,\"distribution\":\"com.veltro.dovetop.thermalLevels\",\"value\":2.0}\n"
            "{\"at\":6.5,\"distribution\":\"com.veltro.dovetop.thermalLevels\",\"value\":0.0}\n"
            "{\"at\":60,\"distribution\":\"com.veltro.dovetop.thermalLevels\",\"value\":3.0}\n");
  EXPECT_THAT(
      keys("com.veltro.dovetop"),
      ElementsAre("com.veltro.dovetop.thermalLevels 2026-01-01 samples=3 sum=5 min=0 max=3"));
}

TEST_F(ReplayTest, RepeatedLoadCallsTheEntryButRegistersOnce) {
  // The module loads implicitly before the first other action; a later load calls the entry
  // again, which must do nothing.
  Result run = replay(R"({"at": 1, "thermal": 1}
{"at": 2, "load": true}
{"at": 3, "thermal": 4}
)");
  ASSERT_EQ(run.status, 0) << run.err;
  auto samples = run.only("distribution");
  ASSERT_EQ(samples.size(), 2u);
  EXPECT_EQ(samples[0]["value"], 1.0);
  EXPECT_EQ(samples[1]["value"], 4.0);
}

TEST_F(ReplayTest, RestartCarriesTimeAndDeviceIntoANewDaemonProcess) {
  // 23:59:50 in New York (UTC-5 in January): the restart happens across local midnight.
  Result run = replay(R"({"device": {"start": 1767243590, "time_zone": "America/New_York"}}
{"at": 0, "thermal": 1}
{"at": 5, "set": {"thermal_level": 7}}
{"at": 8, "restart": true}
{"at": 20, "thermal": 2}
{"at": 30, "restart": true}
{"at": 31, "restart": true}
{"at": 40, "thermal": 3}
)");
  ASSERT_EQ(run.status, 0) << run.err;
  auto samples = run.only("distribution");
  ASSERT_EQ(samples.size(), 3u);
  EXPECT_EQ(samples[1]["at"], 20);
  EXPECT_EQ(samples[1]["value"], 2.0);
  EXPECT_EQ(samples[2]["at"], 40);
  EXPECT_THAT(
      keys("com.veltro.dovetop"),
      ElementsAre("com.veltro.dovetop.thermalLevels 2025-12-31 samples=1 sum=1 min=1 max=1",
                  "com.veltro.dovetop.thermalLevels 2026-01-01 samples=2 sum=5 min=2 max=3"));
}

TEST_F(ReplayTest, ABadLineAnywhereStopsTheReplayBeforeAnythingRuns) {
  struct Case {
    std::string badLine;
    std::string message;
  };
  const std::vector<Case> cases = {
      {R"({"at": 9, "thermal": 5)", "not valid JSON"},
      {R"({"at": 9, "dance": true})", "unknown action \"dance\""},
      {R"({"at": 9, "batery": {}})", "unknown action \"batery\" (did you mean \"battery\"?)"},
      {R"({"at": 1, "thermal": 5})", "\"at\" goes back in time"},
      {R"({"at": 9, "thermal": 5, "load": true})", "a line holds \"at\" and exactly one"},
      {R"({"at": 9, "set": {"thermal_level": 5, "colour": 1}})",
       "action \"set\": unknown device field \"colour\""},
      {R"({"at": 9, "thermal": "hot"})", "action \"thermal\": must be an integer"},
      {R"({"device": {}})", "the device may only be described on line 1"},
      {R"({"thermal": 5})", "missing \"at\""},
      {R"({"at": 9, "app": {"bundle": "b", "item_id": "12"}})",
       "action \"app\": proxy member \"item_id\" must be an integer or null"},
  };
  const std::string trace = (dir_ / "trace.jsonl").string();
  for (const Case& c : cases) {
    SCOPED_TRACE(c.badLine);
    Result run = replay("{\"at\": 2, \"thermal\": 1}\n{\"at\": 3, \"restart\": true}\n" +
                        c.badLine + "\n{\"at\": 10, \"thermal\": 6}\n");
    EXPECT_EQ(run.status, 65);
    EXPECT_THAT(run.err, HasSubstr("tallyd: " + trace + ":3: " + c.message));
    // Nothing ran, not even the lines before it, and nothing was stored.
    EXPECT_EQ(run.out, "");
    EXPECT_FALSE(fs::exists(db()));
    EXPECT_FALSE(fs::exists(dir_ / "root"));
  }
  Result missing = tallyd("replay " + (dir_ / "none.jsonl").string());
  EXPECT_EQ(missing.status, 74);
  EXPECT_THAT(missing.err, HasSubstr("none.jsonl: cannot read the trace: No such file"));
  Result directory = tallyd("replay " + dir_.string());
  EXPECT_EQ(directory.status, 74);
  EXPECT_THAT(directory.err, HasSubstr(dir_.string() + ": is a directory, not a trace"));
}

}  // namespace

namespace {

TEST_F(ReplayTest, ARestartWritesThePreviousPeriodBeforeAnythingNew) {
  Result run = replay(
      R"({"device": {"apps": [{"bundle": "com.example.notes", "bundle_version": "2", "short_version": "2.0"}]}}
{"at": 10, "app_state": {"bundle": "com.example.notes", "pid": 0, "state": 8}}
{"at": 40, "app_state": {"bundle": "com.example.notes", "pid": 0, "state": 2}}
{"at": 50, "restart": true}
{"at": 50, "app_state": {"bundle": "com.example.notes", "pid": 0, "state": 8}}
{"at": 52, "app_state": {"bundle": "com.example.notes", "pid": 0, "state": 1}}
{"at": 60, "activity": {"name": "com.veltro.session.schedule", "state": "run"}}
)");
  ASSERT_EQ(run.status, 0) << run.err;
  std::vector<std::string> logs;
  for (const Json& line : run.only("log")) {
    if (line["at"] == 50) logs.push_back(line["log"]);
  }
  // The previous period comes first, from the record files; then the new session, whose
  // bundle record starts the keys again at 1 in fresh files.
  EXPECT_THAT(logs, ElementsAre("writing previous session log",
                                "processing com.example.notes with 1 events",
                                "Session log: 1 bundles written to /var/mobile/Library/Logs/"
                                "Faultkeeper/log-sessions-2026-01-01-000050.session",
                                "Tracking com.example.notes (via activity)"));
  const fs::path logs_dir = dir_ / "root/var/mobile/Library/Logs/Faultkeeper";
  const std::string previous = read(logs_dir / "log-sessions-2026-01-01-000050.session");
  EXPECT_THAT(previous, HasSubstr("\"scheduled\" : false"));
  EXPECT_THAT(previous, HasSubstr("\"duration\" : 30"));
  EXPECT_THAT(previous, HasSubstr("\"date\" : \"2026-01-01T00:00:10+0000\""));
  // The scheduled log of the new period has only the new interval; its bundle record stays.
  const std::string scheduled = read(logs_dir / "log-sessions-2026-01-01-000100.session");
  EXPECT_THAT(scheduled, HasSubstr("\"scheduled\" : true"));
  EXPECT_THAT(scheduled, HasSubstr("\"duration\" : 2"));
  EXPECT_THAT(scheduled, ::testing::Not(HasSubstr("\"duration\" : 30")));
  const fs::path records = dir_ / "root/var/mobile/Library/Tallyline";
  EXPECT_EQ(read(records / "session_bundles.log"),
            "[\"com.example.notes\",0,\"00000000-0000-0000-0000-000000000000\",\"2\",\"2.0\","
            "\"\",0,\"\",0,false,1]\n");
  EXPECT_FALSE(fs::exists(records / "session_events.log"));
}

TEST_F(ReplayTest, DailyReportsAreStoredByDay) {
  Result run = replay(R"({"device": {"apps": [{"bundle": "com.example.a", "bundle_version": "1"}]}}
{"at": 10, "app_state": {"bundle": "com.example.a", "state": 8}}
{"at": 20, "app_state": {"bundle": "com.example.a", "state": 1}}
{"at": 30, "notify": {"name": "com.veltro.tallyd.tldaily.logging"}}
{"at": 86400, "app_state": {"bundle": "com.example.a", "state": 8}}
{"at": 86401, "app_state": {"bundle": "com.example.a", "state": 2}}
{"at": 86500, "notify": {"name": "com.veltro.tallyd.tldaily.logging"}}
{"at": 86600, "notify": {"name": "com.veltro.tallyd.tldaily.logging"}}
)");
  ASSERT_EQ(run.status, 0) << run.err;
  auto ipc = run.only("ipc");
  ASSERT_EQ(ipc.size(), 3u);
  EXPECT_EQ(ipc[0]["ipc"]["message"]["app_data"][0]["bundle_id"], "com.example.a");
  EXPECT_EQ(ipc[2]["ipc"]["message"]["app_data"], Json::array());
  Result activated = tallyd("activated --db " + db());
  EXPECT_EQ(activated.out, "2026-01-01\tcom.example.a\t1\n2026-01-02\tcom.example.a\t1\n");
}

}  // namespace

namespace {

TEST_F(ReplayTest, ThreeDaysOfPowerEvents) {
  std::ofstream(dir_ / "trace.jsonl")
      << R"({"device": {"backlight": {"min": 0, "max": 100, "value": 40}, "wake_reason": "tmr\n", "battery": {"CurrentCapacity": 2000, "MaxCapacity": 2500, "Voltage": 3900, "AdapterInfo": 0, "IsCharging": false}, "interfaces": [{"name": "lo0", "loopback": true, "family": 18}, {"name": "en0", "family": 18, "counters": {"tcpOOOPkt": 0}}]}}
{"at": 0, "load": true}
{"at": 100, "power": {"message": "can_sleep", "id": 1}}
{"at": 101, "power": {"message": "will_sleep", "id": 2}}
{"at": 3600, "power": {"message": "will_power_on", "id": 3}}
{"at": 3600, "power": {"message": "powered_on", "id": 4}}
{"at": 3601, "backlight": 0}
{"at": 7200, "backlight": 80}
{"at": 10000, "battery": {"CurrentCapacity": 1900}}
{"at": 20000, "notify": {"name": "com.veltro.system.batterysavermode", "state": 1}}
{"at": 50000, "net": {"en0": {"tcpOOOPkt": 7, "udpPort0": 2, "15": 9}}}
{"at": 100000, "backlight": 100}
{"at": 200000, "net": {"en0": {"tcpOOOPkt": 3}}}
{"at": 259200, "thermal": 0}
)";
  Result run = tallyd("replay " + (dir_ / "trace.jsonl").string() + " --root " +
                      (dir_ / "root").string() + " --db " + db() + " --notifications");
  ASSERT_EQ(run.status, 0) << run.err;
  std::string seen;
  for (const Json& line : run.lines) {
    const std::string batch = line.contains("batch") ? line["batch"].dump() : "";
    const bool brightnessOrNet = batch.find(".backlight.values.") != std::string::npos ||
                                 batch.find(".netstats.") != std::string::npos;
    if (line.contains("notification") || line.contains("power_ack") || brightnessOrNet ||
        (line.contains("log") && line["log"].get<std::string>().starts_with("Network"))) {
      seen += line.dump() + "\n";
    }
  }
  // Brightness: 40 (bucket 5) from 0 to 3601, off until 7200, 80 (bucket 9) until 100000, then
  // 100 (bucket 10). Network: tcpOOOPkt 0 -> 7 and udpPort0 0 -> 2 on day one (the reserved
  // counter 15 is not reported), nothing on day two, then tcpOOOPkt back to 3: zeroed, and the
  // current values are the growth.
  EXPECT_EQ(seen,
            R"({"at":100,"notification":"EQDeviceCanSleepNotification","user_info":{}}
{"at":100,"power_ack":1}
{"at":101,"notification":"EQDeviceWillSleepNotification","user_info":{}}
{"at":101,"power_ack":2}
{"at":3600,"notification":"EQDeviceDidWakeNotification","user_info":{"EQDeviceDidWakeSystemReason":"tmr"}}
{"at":3601,"notification":"EQDeviceBacklightOffNotification","user_info":{}}
{"at":7200,"notification":"EQDeviceBacklightOnNotification","user_info":{}}
{"at":10000,"notification":"EQBatteryStatusDidChangeNotification","user_info":{"EQBatteryStatusPropertiesKey":{"AdapterInfo":0,"CurrentCapacity":1900,"IsCharging":false,"MaxCapacity":2500,"Voltage":3900}}}
{"at":20000,"notification":"EQLPMStatusDidChangeNotification","user_info":{"EQLPMStatusDidChangeNotification":{"mode":"com.veltro.system.batterysavermode","value":1}}}
{"at":86400,"batch":{"first":{"com.veltro.power.netstats.en0.tcpOOOPkt":7,"com.veltro.power.netstats.en0.udpPort0":2},"second":null}}
{"at":86400,"batch":{"first":null,"second":{"com.veltro.power.backlight.values.000_010":0.0,"com.veltro.power.backlight.values.010_020":0.0,"com.veltro.power.backlight.values.020_030":0.0,"com.veltro.power.backlight.values.030_040":0.0,"com.veltro.power.backlight.values.040_050":3601.0,"com.veltro.power.backlight.values.050_060":0.0,"com.veltro.power.backlight.values.060_070":0.0,"com.veltro.power.backlight.values.070_080":0.0,"com.veltro.power.backlight.values.080_090":79200.0,"com.veltro.power.backlight.values.090_100":0.0}}}
{"at":172800,"batch":{"first":null,"second":{"com.veltro.power.backlight.values.000_010":0.0,"com.veltro.power.backlight.values.010_020":0.0,"com.veltro.power.backlight.values.020_030":0.0,"com.veltro.power.backlight.values.030_040":0.0,"com.veltro.power.backlight.values.040_050":0.0,"com.veltro.power.backlight.values.050_060":0.0,"com.veltro.power.backlight.values.060_070":0.0,"com.veltro.power.backlight.values.070_080":0.0,"com.veltro.power.backlight.values.080_090":13600.0,"com.veltro.power.backlight.values.090_100":72800.0}}}
{"at":259200,"log":"Network Supplemental Stats <ERROR>: Zeroing previous stats"}
{"at":259200,"batch":{"first":{"com.veltro.power.netstats.en0.tcpOOOPkt":3,"com.veltro.power.netstats.en0.udpPort0":2},"second":null}}
{"at":259200,"batch":{"first":null,"second":{"com.veltro.power.backlight.values.000_010":0.0,"com.veltro.power.backlight.values.010_020":0.0,"com.veltro.power.backlight.values.020_030":0.0,"com.veltro.power.backlight.values.030_040":0.0,"com.veltro.power.backlight.values.040_050":0.0,"com.veltro.power.backlight.values.050_060":0.0,"com.veltro.power.backlight.values.060_070":0.0,"com.veltro.power.backlight.values.070_080":0.0,"com.veltro.power.backlight.values.080_090":0.0,"com.veltro.power.backlight.values.090_100":86400.0}}}
)");
}

}  // namespace
