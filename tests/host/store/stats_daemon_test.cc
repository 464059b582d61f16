// The daemon files each output under the local day of the moment the device stamped it with,
// whatever the host's clock says, and folds values by what they mean.
#include "host/store/stats_daemon.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

using tl::host::Database;
using tl::platform::DeviceMoment;
using tl::platform::KeyValues;
using tl::platform::Value;

DeviceMoment Moment(double wallClock, tl::platform::LocalTime local) {
  DeviceMoment moment;
  moment.at = wallClock - 1.7e9;  // the output clock is the daemon's to ignore
  moment.wallClock = wallClock;
  moment.local = local;
  return moment;
}

std::string Row(Database& db, const char* sql) {
  tl::host::Statement rows = db.prepare(sql);
  std::string text;
  while (rows.row()) text += rows.columnText(0) + "\n";
  return text;
}

TEST(StatsDaemonTest, FilesEachOutputUnderItsStampedDay) {
  const std::filesystem::path path =
      std::filesystem::temp_directory_path() / ("tallyd-daemon-" + std::to_string(::getpid()));
  std::filesystem::remove(path);
  {
    Database db(path.string());
    tl::host::StatsStore store(db);
    tl::host::DailyReports reports(db);
    tl::host::Timeline timeline(db);
    tl::host::StatsDaemon daemon(store, reports, &timeline);

    // Half past midnight an hour east of UTC, still the day before in UTC; then the next day
    // after the clocks went to two hours east.
    const DeviceMoment beforeChange = Moment(1774654200, {2026, 3, 28, 0, 30, 0, 3600});
    const DeviceMoment afterChange = Moment(1774746001, {2026, 3, 29, 3, 0, 1, 7200});
    const std::string lpm =
        std::string(tl::host::kPowerStateKeyPrefix) + "unplugged_lpm_screen_on_24hr.energy";
    KeyValues first{{"com.example.a", Value(5LL)},
                    {lpm, Value(static_cast<long long>(tl::host::kNotApplicable))},
                    {tl::host::kBacklightUserSettingKey, Value(0.5)}};
    daemon.batch(beforeChange, &first, nullptr);
    daemon.scalar(afterChange, "com.example.a", 2);
    daemon.distribution(afterChange, tl::host::kThermalLevelsKey, 3);
    store.flush();

    // The not-applicable marker is never added; the user setting, a brightness, is a sample.
    EXPECT_EQ(Row(db, "SELECT day || ' ' || key || ' ' || value FROM scalars ORDER BY rowid"),
              "2026-03-28 com.example.a 5\n2026-03-29 com.example.a 2\n");
    EXPECT_EQ(Row(db,
                  "SELECT day || ' ' || key || ' ' || count FROM distributions "
                  "ORDER BY rowid"),
              "2026-03-28 " + std::string(tl::host::kBacklightUserSettingKey) + " 1\n" +
                  "2026-03-29 " + tl::host::kThermalLevelsKey + " 1\n");

    const std::vector<tl::host::TimelineRow> rows = tl::host::ReadTimeline(db);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].at, 1774746001);
    EXPECT_EQ(rows[0].day, "2026-03-29");
    EXPECT_EQ(rows[0].utcOffset, 7200);
    EXPECT_EQ(rows[0].event, tl::host::kEventThermal);
    EXPECT_EQ(rows[0].thermal, 3);
  }
  std::filesystem::remove(path);
}

}  // namespace
