// tallyd report on stores filled by real replays: hand-worked days through CSV and JSON, a day
// boundary in a zone that is not UTC, and a page that opens offline.
#include <sqlite3.h>

#include <regex>

#include "host/replay/replay_fixture.h"

namespace tl::testing {
namespace {

using ::testing::HasSubstr;

// Rows of a CSV text, fields unquoted; fails the test on a field count that differs from the
// header's.
std::vector<std::vector<std::string>> ParseCsv(const std::string& text) {
  std::vector<std::vector<std::string>> rows(1);
  std::string field;
  bool quoted = false;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (quoted) {
      if (c == '"' && i + 1 < text.size() && text[i + 1] == '"') {
        field += '"';
        ++i;
      } else if (c == '"') {
        quoted = false;
      } else {
        field += c;
      }
    } else if (c == '"') {
      quoted = true;
    } else if (c == ',') {
      rows.back().push_back(field);
      field.clear();
    } else if (c == '\n') {
      rows.back().push_back(field);
      field.clear();
      rows.emplace_back();
    } else {
      field += c;
    }
  }
  rows.pop_back();  // after the last newline
  for (const auto& row : rows) EXPECT_EQ(row.size(), rows[0].size()) << text;
  return rows;
}

// The rows of a CSV as maps from column name to field.
std::vector<std::map<std::string, std::string>> Records(const std::string& csv) {
  auto rows = ParseCsv(csv);
  std::vector<std::map<std::string, std::string>> records;
  for (size_t r = 1; r < rows.size(); ++r) {
    std::map<std::string, std::string> record;
    for (size_t c = 0; c < rows[0].size(); ++c) record[rows[0][c]] = rows[r][c];
    records.push_back(std::move(record));
  }
  return records;
}

class ReportTest : public ReplayTest {
 protected:
  Json json(const std::string& extra = "") {
    Result run = tallyd("report --db " + db() + " --format json " + extra);
    EXPECT_EQ(run.status, 0) << run.err;
    return Json::parse(run.out);
  }
  static Json Row(const Json& report, const std::string& table, const std::string& day,
                  const std::string& column, const std::string& value) {
    for (const Json& row : report["tables"][table]["rows"]) {
      if (row["day"] == day && row[column] == value) return row;
    }
    ADD_FAILURE() << "no " << table << " row " << column << "=" << value << " on " << day;
    return Json();
  }
};

TEST_F(ReportTest, AHandWorkedDayThroughCsvAndJson) {
  // The default device: 2000 of 2500 mAh at 3.9 V, discharging, screen on at 50 %. After 1000 s
  // it has 1900 mAh at 3.9 V: 3.9 V x 100 mAh = 390 mWh drained in 1000 s on battery with the
  // screen on, 390 / 1000 x 3600 = 1404 mW, 1900 / 2500 = 76 %, 390 / (2500 x 3.9) = 4 %.
  Result run = replay(R"({"at": 0, "load": true}
{"at": 1000, "battery": {"CurrentCapacity": 1900, "Voltage": 3900}}
)");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.err, HasSubstr("replayed 2 lines, 0.01 virtual days; store " + db()));

  Result days = tallyd("report --db=" + db() + " --format csv");
  ASSERT_EQ(days.status, 0) << days.err;
  auto cards = Records(days.out);
  ASSERT_EQ(cards.size(), 1u);
  EXPECT_EQ(cards[0]["day"], "2026-01-01");
  EXPECT_EQ(cards[0]["on_battery_s"], "1000");
  EXPECT_EQ(cards[0]["drain_mWh"], "390");
  EXPECT_EQ(cards[0]["drain_pct_of_capacity"], "4");
  EXPECT_EQ(cards[0]["mean_drain_mW"], "1404");
  EXPECT_EQ(cards[0]["screen_on_s"], "1000");
  EXPECT_EQ(cards[0]["screen_on_mW"], "1404");
  EXPECT_EQ(cards[0]["screen_off_s"], "0");
  EXPECT_EQ(cards[0]["battery_level_pct"], "76");
  EXPECT_EQ(cards[0]["recorded_s"], "1000");
  EXPECT_EQ(cards[0]["top_app"], "");

  const Json report = json();
  EXPECT_EQ(report["units"]["energy_mWh"], "mWh");
  const Json screen = Row(report, "states", "2026-01-01", "state", "unplugged_screen_on");
  EXPECT_EQ(screen["duration_s"], 1000);
  EXPECT_EQ(screen["energy_mWh"], 390);
  EXPECT_EQ(screen["power_mW"], 1404);
  EXPECT_EQ(screen["exits"], 0);
  // Everything the daemon ran was booked; plugged-in time had no power to rate.
  EXPECT_EQ(Row(report, "states", "2026-01-01", "state", "unaccounted")["duration_s"], 0);
  EXPECT_TRUE(Row(report, "states", "2026-01-01", "state", "pluggedin")["power_mW"].is_null());
  // Low-power mode was off throughout: its "24hr" energy is not applicable, the other's is the
  // drain. The marker of the condition that was not current is never added up.
  EXPECT_EQ(Row(report, "states", "2026-01-01", "state", "unplugged_lpm_off_24hr")["energy_mWh"],
            390);
  EXPECT_TRUE(Row(report, "states", "2026-01-01", "state", "unplugged_lpm_on_24hr")["energy_mWh"]
                  .is_null());
  EXPECT_EQ(keys("com.veltro.power.state.unplugged_lpm_on_24hr"), std::vector<std::string>{});
  // The user setting is a brightness: 7 commits (5 at start-up, 2 for the battery) at 50 %
  // make a sample, not 350.
  EXPECT_THAT(keys("com.veltro.power.backlight.usersetting"),
              ::testing::ElementsAre("com.veltro.power.backlight.usersetting 2026-01-01 samples=7 "
                                     "sum=350 min=50 max=50"));
  // The timeline: a start with the device's present conditions (unplugged, awake, screen on),
  // the battery change, and the stop at the end of the trace.
  std::vector<std::string> events;
  for (const Json& p : report["timeline"]) events.push_back(p["event"]);
  EXPECT_THAT(events, ::testing::ElementsAre("start", "battery", "stop"));
  EXPECT_EQ(report["timeline"][0]["state"], 2 | 4);
  EXPECT_EQ(report["timeline"][1]["level_pct"], 76);
  EXPECT_EQ(report["meta"]["time_zone"], "UTC");
  EXPECT_EQ(report["meta"]["source"], "replay");
  EXPECT_EQ(report["meta"]["trace_sha256"].get<std::string>().size(), 64u);
}

TEST_F(ReportTest, AnIntervalAcrossLocalMidnightCountsOnTheDayItEnds) {
  // 04:30 UTC is 23:30 in New York (UTC-5). The interval from 23:30 to 00:30 is booked on the
  // new day; each day recorded half an hour, so the first has 0:30 unaccounted and the second
  // -0:30.
  Result run = replay(R"({"device": {"start": 1767241800, "time_zone": "America/New_York"}}
{"at": 0, "load": true}
{"at": 3600, "battery": {"CurrentCapacity": 1900}}
)");
  ASSERT_EQ(run.status, 0) << run.err;
  const Json report = json();
  EXPECT_EQ(report["days"], Json({"2025-12-31", "2026-01-01"}));
  // Local midnights: 2025-12-31 00:00 EST, 2026-01-01 00:00 EST, 2026-01-02 00:00 EST.
  EXPECT_EQ(report["midnights"], Json({1767157200, 1767243600, 1767330000}));
  EXPECT_EQ(Row(report, "states", "2025-12-31", "state", "unaccounted")["duration_s"], 1800);
  EXPECT_EQ(Row(report, "states", "2026-01-01", "state", "unplugged")["duration_s"], 3600);
  EXPECT_EQ(Row(report, "states", "2026-01-01", "state", "unaccounted")["duration_s"], -1800);
  EXPECT_EQ(report["timeline"][1]["local"], "2026-01-01 00:30:00");
  // Nobody recorded the first day before 23:30 nor the second after 00:30.
  ASSERT_EQ(report["not_recorded"].size(), 2u);
  EXPECT_EQ(report["not_recorded"][0]["to"], 1767241800);
  EXPECT_EQ(report["not_recorded"][1]["from"], 1767245400);
  // --from and --to pick local days.
  EXPECT_EQ(json("--from 2026-01-01")["days"], Json({"2026-01-01"}));
}

TEST_F(ReportTest, DaysFarFromTheRestAreSetApartAndDamagedNumbersRefused) {
  Result run = replay(R"({"device": {"start": 1767225600}}
{"at": 0, "load": true}
{"at": 3600, "battery": {"CurrentCapacity": 1900}}
)");
  ASSERT_EQ(run.status, 0) << run.err;
  auto sql = [](const std::string& path, const std::string& statements) {
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(db, statements.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(db);
  };
  // A clock not yet set at boot wrote a row on 1970-01-01; a damaged store names a day that is
  // none, and an empty one.
  sql(db(),
      "INSERT INTO timeline (at, day, utc_offset, event) VALUES (5, '1970-01-01', 0, 'start');"
      "INSERT INTO scalars VALUES ('garbage', 'k', 1), ('', 'k', 2), ('2026-02-30', 'k', 3);");
  const Json report = json();
  EXPECT_EQ(report["days"], Json({"2026-01-01"}));
  EXPECT_EQ(report["outside_range"],
            Json::parse(R"([{"day": "", "values": 1}, {"day": "1970-01-01", "values": 1},
                            {"day": "2026-02-30", "values": 1}, {"day": "garbage", "values": 1}])"));
  Result text = tallyd("report --format text --db " + db());
  EXPECT_THAT(text.out, HasSubstr("4 days outside the recorded range"));
  EXPECT_THAT(text.out, HasSubstr("1970-01-01 (1 value)"));
  // The page holds the one day, not ten years of them.
  Result html = tallyd("report --db " + db() + " -o " + (dir_ / "r.html").string());
  ASSERT_EQ(html.status, 0) << html.err;
  EXPECT_LT(fs::file_size(dir_ / "r.html"), 2'000'000u);
  // Asked for the days in between, the far day is still set apart.
  EXPECT_EQ(json("--from 1970-01-01 --to 2026-12-31")["days"], Json({"2026-01-01"}));

  // A text or a blob where a number belongs, a timeline row without a time, and a number no
  // store of tallyd's holds: refused, with the column named.
  struct Case {
    std::string statement;
    std::string message;
  };
  for (const Case& c : std::vector<Case>{
           {"UPDATE scalars SET value = 'abc' WHERE day = '2026-01-01'",
            "a text where a number belongs in column value"},
           {"UPDATE distributions SET sum = x'00'", "a blob where a number belongs in column sum"},
           {"CREATE TABLE t AS SELECT * FROM timeline; DROP TABLE timeline;"
            "CREATE TABLE timeline AS SELECT * FROM t; UPDATE timeline SET at = NULL",
            "a missing value in column at"},
           {"UPDATE timeline SET level = 'high'", "a text where a number belongs in column level"},
           {"UPDATE scalars SET value = 1e306 WHERE day = '2026-01-01'",
            "a number out of range where a number belongs in column value"},
       }) {
    SCOPED_TRACE(c.statement);
    const std::string copy = (dir_ / "damaged.db").string();
    fs::copy_file(db(), copy, fs::copy_options::overwrite_existing);
    sql(copy, c.statement);
    Result damaged = tallyd("report --format json --db " + copy);
    EXPECT_EQ(damaged.status, 65);
    EXPECT_EQ(damaged.err, "tallyd: " + copy + ": a damaged store: " + c.message + "\n");
  }
}

TEST_F(ReportTest, TheSampleDayPageOpensOfflineAndItsDataParses) {
  std::ifstream sample(std::string(SOURCE_DIR) + "/examples/sample-day.jsonl");
  Result run = replay(std::string(std::istreambuf_iterator<char>(sample), {}));
  ASSERT_EQ(run.status, 0) << run.err;
  Result html = tallyd("report --db " + db() + " -o " + (dir_ / "report.html").string());
  ASSERT_EQ(html.status, 0) << html.err;
  const std::string page = read(dir_ / "report.html");
  // Nothing is fetched: no address in an attribute or a style, no request from a script.
  EXPECT_FALSE(std::regex_search(
      page, std::regex(R"((src|href|action)\s*=\s*["']?\s*(https?:|//|ftp:))", std::regex::icase)));
  EXPECT_FALSE(std::regex_search(page, std::regex(R"(url\(\s*["']?\s*(https?:|//))")));
  for (const char* request : {"@import", "<link", "fetch(", "XMLHttpRequest", "WebSocket",
                              "sendBeacon", "<iframe", "<img"}) {
    EXPECT_EQ(page.find(request), std::string::npos) << request;
  }
  // The data block parses and holds the sample day's wakes and applications, each table with
  // as many rows as its CSV.
  const std::string open = "<script type=\"application/json\" id=\"report-data\">";
  const size_t start = page.find(open) + open.size();
  const Json data = Json::parse(page.substr(start, page.find("</script>", start) - start));
  EXPECT_EQ(data["days"], Json({"2026-07-01", "2026-07-02"}));
  auto cell = [&](const std::string& table, size_t row, const std::string& column) {
    const Json& t = data["tables"][table];
    for (size_t c = 0; c < t["columns"].size(); ++c) {
      if (t["columns"][c][0] != column) continue;
      const Json& v = t["rows"][row][c];
      const int kind = t["columns"][c][2];
      return kind <= 1 && v.is_number() ? t["texts"][v.get<size_t>()] : v;
    }
    return Json();
  };
  EXPECT_EQ(cell("wakes", 1, "reason"), "spu_ferrite");
  EXPECT_EQ(cell("apps", 1, "bundle"), "com.example.notes");
  EXPECT_EQ(cell("apps", 1, "active_s"), 1500);
  for (const auto& [name, table] : data["tables"].items()) {
    Result csv = tallyd("report --db " + db() + " --format csv --table " + name);
    ASSERT_EQ(csv.status, 0) << csv.err;
    EXPECT_EQ(ParseCsv(csv.out).size(), table["rows"].size() + 1) << name;
  }
  // The text fits a terminal of 80 columns.
  Result text = tallyd("report --db " + db() + " --format text");
  ASSERT_EQ(text.status, 0) << text.err;
  std::istringstream lines(text.out);
  for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80u) << line;
  // Two days side by side, the second's change against the first.
  const Json compare = json("--compare 2026-07-01,2026-07-02");
  const Json wakes = [&] {
    for (const Json& row : compare["tables"]["compare"]["rows"]) {
      if (row["measure"] == "wakes") return row;
    }
    return Json();
  }();
  EXPECT_EQ(wakes["change_2026-07-02"], 0);
  Result unknown = tallyd("report --db " + db() + " --compare 2026-07-01,2030-01-01");
  EXPECT_EQ(unknown.status, 64);
  EXPECT_THAT(unknown.err, HasSubstr("--compare 2030-01-01: the store holds nothing of that day"));
}

TEST_F(ReportTest, TheSampleWeeksNightsAndSummaryAsItsScheduleHasThem) {
  std::ifstream sample(std::string(SOURCE_DIR) + "/examples/sample-week.jsonl");
  Result run = replay(std::string(std::istreambuf_iterator<char>(sample), {}));
  ASSERT_EQ(run.status, 0) << run.err;
  const Json report = json();
  // Nights run 22:00 to 07:00. The first is recorded from midnight, 7 of its 9 hours; each of
  // the others whole. The night to 06-04 wakes every 4 minutes from 23:30 to 06:50: 110 wakes in
  // 9 hours. The night to 06-06 the sync app holds the device awake with the screen off from
  // 23:05 to 04:30, then it sleeps until 07:00. The night to 06-07 is on the charger from 22:40.
  std::vector<std::string> verdicts;
  for (const Json& n : report["tables"]["nights"]["rows"]) verdicts.push_back(n["verdict"]);
  EXPECT_EQ(verdicts, (std::vector<std::string>{"asleep", "hot", "asleep", "wake loop", "asleep",
                                                "kept awake", "on charger"}));
  const Json& first = report["tables"]["nights"]["rows"][0];
  EXPECT_EQ(first["recorded_s"], 7 * 3600);
  EXPECT_EQ(first["wakes"], 1);
  EXPECT_EQ(first["top_wake_reasons"], "rtc 1");
  const Json& loop = Row(report, "nights", "2026-06-04", "verdict", "wake loop");
  EXPECT_EQ(loop["recorded_s"], 9 * 3600);
  EXPECT_EQ(loop["wakes"], 110);
  EXPECT_NEAR(loop["wakes_per_h"].get<double>(), 110.0 / 9, 0.001);
  EXPECT_EQ(loop["top_wake_reasons"], "wlan 110");
  const Json& held = Row(report, "nights", "2026-06-06", "verdict", "kept awake");
  EXPECT_EQ(held["awake_screen_off_s"], 5 * 3600 + 25 * 60);
  EXPECT_EQ(held["asleep_s"], 2 * 3600 + 30 * 60);
  EXPECT_EQ(held["screen_on_s"], 3600 + 5 * 60);
  EXPECT_EQ(Row(report, "nights", "2026-06-02", "verdict", "hot")["thermal_max"], 2);
  EXPECT_EQ(Row(report, "nights", "2026-06-07", "verdict", "on charger")["plugged_s"],
            9 * 3600 - 40 * 60);
  // The summary sets each day against the median of the days before it, once there are three.
  const Json& summary = report["summary"];
  ASSERT_EQ(summary.size(), 7u);
  EXPECT_EQ(summary[2]["typical_days"], 0);
  EXPECT_EQ(summary[3]["typical_days"], 3);
  EXPECT_EQ(summary[3]["night_verdict"], "wake loop");
  ASSERT_EQ(summary[3]["unusual"].size(), 1u);
  EXPECT_EQ(summary[3]["unusual"][0]["measure"], "night_wakes_per_h");
  // The quiet nights woke once in 9 hours (the first once in 7).
  EXPECT_NEAR(summary[3]["unusual"][0]["typical"].get<double>(), 1.0 / 9, 0.001);
  bool syncNew = false;
  for (const Json& u : summary[5]["unusual"]) {
    syncNew = syncNew || (u["app"] == "com.example.sync" && u["typical"] == 0);
  }
  EXPECT_TRUE(syncNew) << summary[5].dump();
  EXPECT_EQ(summary[5]["consumers_estimated"][1]["name"], "com.example.sync");
  EXPECT_EQ(summary[6]["unusual"].size(), 0u);
  // The text's first screen is the summary.
  Result text = tallyd("report --db " + db() + " --format text");
  ASSERT_EQ(text.status, 0) << text.err;
  EXPECT_EQ(text.out.find("== Summary"), text.out.find('\n') + 2);
  std::istringstream lines(text.out);
  for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80u) << line;
}

}  // namespace
}  // namespace tl::testing
