// tallyd export on a store filled by a real replay: rows that say which device and local day
// they are of, bounds in UTC microseconds, and bad input that leaves earlier exports whole.
#include <set>

#include "host/replay/replay_fixture.h"

namespace tl::testing {
namespace {

// An evening and a night in New York (UTC-5), from 20:00 on 2026-01-01 (01:00 UTC the next day)
// to 08:00: asleep from 21:00, a timer wake at 23:30, woken by the button at 07:30.
constexpr char kNight[] =
    R"({"device": {"start": 1767315600, "time_zone": "America/New_York", "machine": "SimPhone9,1", "system_version": {"ProductName": "SimOS", "ProductVersion": "2.1", "ProductBuildVersion": "2B7"}}}
{"at": 0, "load": true}
{"at": 3600, "power": {"message": "can_sleep", "id": 1}}
{"at": 3600, "power": {"message": "will_sleep", "id": 2}}
{"at": 12600, "set": {"wake_reason": "rtc"}}
{"at": 12600, "power": {"message": "powered_on", "id": 3}}
{"at": 12620, "power": {"message": "can_sleep", "id": 4}}
{"at": 12620, "power": {"message": "will_sleep", "id": 5}}
{"at": 41400, "set": {"wake_reason": "button"}}
{"at": 41400, "power": {"message": "powered_on", "id": 6}}
{"at": 43200, "battery": {"CurrentCapacity": 1900, "Voltage": 3900}}
)";

class ExportTest : public ReplayTest {
 protected:
  // Each file of an export as its rows.
  std::map<std::string, std::vector<Json>> load(const fs::path& directory) {
    std::map<std::string, std::vector<Json>> tables;
    for (const char* name :
         {"meta", "days", "states", "apps", "app_energy", "wakes", "nights", "timeline"}) {
      std::ifstream in(directory / (std::string(name) + ".jsonl"));
      EXPECT_TRUE(in) << name;
      auto& rows = tables[name];
      for (std::string line; std::getline(in, line);) rows.push_back(Json::parse(line));
    }
    return tables;
  }
  fs::path out(const std::string& name) const { return dir_ / name; }
};

TEST_F(ExportTest, RowsSayWhichDeviceAndLocalDayTheyAreOfWithTimesInUtcMicroseconds) {
  ASSERT_EQ(replay(kNight).status, 0);
  Result run = tallyd("export --db " + db() + " -o " + out("all").string());
  ASSERT_EQ(run.status, 0) << run.err;
  auto tables = load(out("all"));

  std::set<std::string> devices, days;
  for (const auto& [name, rows] : tables) {
    for (const Json& row : rows) {
      EXPECT_EQ(row["schema_version"], 1) << name;
      devices.insert(row["device_id"].get<std::string>());
      days.insert(row["day"].get<std::string>());
    }
  }
  ASSERT_EQ(devices.size(), 1u);
  EXPECT_EQ(days, (std::set<std::string>{"2026-01-01", "2026-01-02"}));
  const std::string device = *devices.begin();
  EXPECT_EQ(device.size(), 36u);  // a UUID's text

  // Each local day once in meta and days, with its midnights: 2026-01-02 starts at 05:00 UTC.
  ASSERT_EQ(tables["meta"].size(), 2u);
  EXPECT_EQ(tables["meta"][1]["system_version"], "SimOS 2.1 (2B7)");
  EXPECT_EQ(tables["meta"][1]["machine"], "SimPhone9,1");
  EXPECT_EQ(tables["meta"][1]["time_zone"], "America/New_York");
  ASSERT_EQ(tables["days"].size(), 2u);
  EXPECT_EQ(tables["days"][1]["day"], "2026-01-02");
  EXPECT_EQ(tables["days"][1]["start_us"], int64_t{1767330000} * 1000000);
  EXPECT_EQ(tables["days"][1]["end_us"], int64_t{1767416400} * 1000000);
  EXPECT_TRUE(tables["days"][0].contains("on_battery_s"));
  EXPECT_TRUE(tables["days"][0].contains("drain_mWh"));

  // The night to 2026-01-02, 22:00 to 07:00 local (03:00 to 12:00 UTC): one wake in 9 hours.
  ASSERT_EQ(tables["nights"].size(), 1u);
  const Json& night = tables["nights"][0];
  EXPECT_EQ(night["day"], "2026-01-02");
  EXPECT_EQ(night["from_us"], int64_t{1767322800} * 1000000);
  EXPECT_EQ(night["to_us"], int64_t{1767355200} * 1000000);
  EXPECT_EQ(night["wakes"], 1);
  EXPECT_EQ(night["wakes_per_h"], 0.111);
  EXPECT_EQ(night["verdict"], "asleep");

  // The timeline: the start awake with the screen on, unplugged; the timer wake at 23:30 local
  // is 04:30 UTC on the 2nd, but belongs to the local day it happened on.
  const auto& timeline = tables["timeline"];
  ASSERT_FALSE(timeline.empty());
  EXPECT_EQ(timeline[0]["event"], "start");
  EXPECT_EQ(timeline[0]["at_us"], int64_t{1767315600} * 1000000);
  EXPECT_EQ(timeline[0]["awake"], true);
  EXPECT_EQ(timeline[0]["screen_on"], true);
  EXPECT_EQ(timeline[0]["plugged_in"], false);
  bool timerWake = false;
  for (const Json& point : timeline) {
    if (point["event"] == "wake" && point["wake_reason"] == "rtc") {
      timerWake = true;
      EXPECT_EQ(point["at_us"], int64_t{1767328200} * 1000000);
      EXPECT_EQ(point["day"], "2026-01-01");
    }
  }
  EXPECT_TRUE(timerWake);

  // One day asked for: only its rows. The same trace in another store is the same device; a
  // name given replaces the identifier.
  ASSERT_EQ(tallyd("export --db " + db() +
                   " --from 2026-01-02 --to 2026-01-02 --device fleet-7 "
                   "-o " +
                   out("one").string())
                .status,
            0);
  for (const auto& [name, rows] : load(out("one"))) {
    for (const Json& row : rows) {
      EXPECT_EQ(row["day"], "2026-01-02") << name;
      EXPECT_EQ(row["device_id"], "fleet-7") << name;
    }
  }
  fs::rename(db(), out("first.db"));
  fs::remove_all(dir_ / "root");
  ASSERT_EQ(replay(kNight).status, 0);
  ASSERT_EQ(tallyd("export --db " + db() + " -o " + out("again").string()).status, 0);
  EXPECT_EQ(load(out("again"))["meta"][0]["device_id"], device);
}

TEST_F(ExportTest, BadInputFailsWithItsStatusAndLeavesTheEarlierExportWhole) {
  ASSERT_EQ(replay(kNight).status, 0);
  const std::string directory = out("export").string();
  ASSERT_EQ(tallyd("export --db " + db() + " -o " + directory).status, 0);
  const std::string before = read(out("export") / "timeline.jsonl");

  Result empty = tallyd("export --db " + db() + " --from 2030-01-01 -o " + directory);
  EXPECT_EQ(empty.status, 64);
  EXPECT_THAT(empty.err, ::testing::HasSubstr("holds nothing from 2030-01-01"));
  std::ofstream(out("not-a-store")) << "a text file\n";
  EXPECT_EQ(tallyd("export --db " + out("not-a-store").string() + " -o " + directory).status, 65);
  // A directory inside a file cannot be made.
  Result unwritable = tallyd("export --db " + db() + " -o " + out("not-a-store").string() + "/x");
  EXPECT_EQ(unwritable.status, 74);
  EXPECT_THAT(unwritable.err, ::testing::HasSubstr("cannot write the export"));
  EXPECT_EQ(tallyd("export --db " + db()).status, 64);

  EXPECT_EQ(read(out("export") / "timeline.jsonl"), before);
  for (const auto& entry : fs::directory_iterator(out("export"))) {
    EXPECT_EQ(entry.path().extension(), ".jsonl") << entry.path();
  }
}

}  // namespace
}  // namespace tl::testing
