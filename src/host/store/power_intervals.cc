// PowerIntervals: recognising a power commit, the CPU between two commits, and the two tables.
#include "host/store/power_intervals.h"

#include <map>

#include "host/store/power_timeline.h"
#include "platform/statistics_keys.h"

namespace tl::host {

namespace {

Database& WithTables(Database& db) {
  if (!db.hasTable("power_intervals")) {
    db.exec(
        "CREATE TABLE power_intervals (id INTEGER PRIMARY KEY, at REAL NOT NULL, "
        "day TEXT NOT NULL, utc_offset INTEGER NOT NULL, duration REAL NOT NULL, "
        "energy REAL NOT NULL, plugged INTEGER NOT NULL, awake INTEGER, screen INTEGER NOT NULL, "
        "brightness REAL NOT NULL, device_cpu REAL)");
  }
  if (!db.hasTable("interval_apps")) {
    db.exec(
        "CREATE TABLE interval_apps (interval INTEGER NOT NULL, bundle TEXT NOT NULL, "
        "foreground_time REAL NOT NULL, background_time REAL NOT NULL, foreground_cpu REAL, "
        "background_cpu REAL)");
  }
  return db;
}

// A composite state's measure in a commit; 0 when the commit does not carry it.
double Measure(const platform::KeyValues& keys, const char* state, const char* measure) {
  const platform::Value* value =
      platform::Find(keys, std::string(platform::kPowerStateKeyPrefix) + state + "." + measure);
  return value && value->isNumber() ? value->doubleValue() : 0.0;
}

// Whether the interval a commit booked was spent in state: it gave the state time or energy.
bool Spent(const platform::KeyValues& keys, const char* state) {
  return Measure(keys, state, "duration") != 0 || Measure(keys, state, "energy") != 0;
}

std::optional<double> Difference(std::optional<double> now, std::optional<double> before) {
  if (!now || !before || *now < *before) return std::nullopt;
  return *now - *before;
}

// The applications of a reading that matter to the interval: those that used the CPU (or whose
// CPU is unknown), and those in front while the screen was on.
std::vector<IntervalApp> AppsOf(const platform::CpuUse& reading, bool screen) {
  std::vector<IntervalApp> apps;
  for (const platform::AppUse& use : reading.apps) {
    // An app that used no CPU costs nothing but its time on a lit screen: rows are kept for
    // what can be attributed.
    const bool used = (screen && use.foregroundSeconds > 0) || use.cpuUnknown ||
                      use.foregroundCpu > 0 || use.backgroundCpu > 0;
    if (!used) continue;
    IntervalApp app;
    app.bundle = use.app;
    app.foregroundSeconds = use.foregroundSeconds;
    app.backgroundSeconds = use.backgroundSeconds;
    if (!use.cpuUnknown) {
      app.foregroundCpu = use.foregroundCpu;
      app.backgroundCpu = use.backgroundCpu;
    }
    apps.push_back(std::move(app));
  }
  return apps;
}

}  // namespace

PowerIntervals::PowerIntervals(Database& db, platform::CpuUsage* cpu)
    : db_(WithTables(db)),
      cpu_(cpu),
      insertInterval_(db.prepare(
          "INSERT INTO power_intervals (at, day, utc_offset, duration, energy, plugged, awake, "
          "screen, brightness, device_cpu) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10)")),
      insertApp_(db.prepare(
          "INSERT INTO interval_apps (interval, bundle, foreground_time, background_time, "
          "foreground_cpu, background_cpu) VALUES (?1, ?2, ?3, ?4, ?5, ?6)")) {}

void PowerIntervals::batch(const platform::DeviceMoment& moment, const platform::KeyValues& keys) {
  const platform::Value* setting = platform::Find(keys, platform::kBacklightUserSettingKey);
  if (!setting ||
      !platform::Find(keys, std::string(platform::kPowerStateKeyPrefix) + "unplugged.duration")) {
    return;  // not a power commit
  }
  const double brightness = setting->doubleValue();
  const bool unplugged = Spent(keys, "unplugged");
  if (!unplugged && !Spent(keys, "pluggedin")) {
    if (!counting_ && cpu_) {
      cpu_->read(&reading_);
      lastDeviceCpu_ = reading_.deviceCpu;
      counting_ = true;
    }
    lastBrightness_ = brightness;
    return;
  }
  PowerInterval interval;
  interval.at = moment.wallClock;
  interval.day = DayText(moment.local);
  interval.utcOffset = moment.local.utcOffsetSeconds;
  const char* total = unplugged ? "unplugged" : "pluggedin";
  interval.duration = Measure(keys, total, "duration");
  interval.energy = Measure(keys, total, "energy");
  interval.plugged = !unplugged;
  if (unplugged) interval.awake = Spent(keys, "unplugged_awake");
  interval.screen = Spent(keys, unplugged ? "unplugged_screen_on" : "pluggedin_screen_on");
  interval.brightness = lastBrightness_.value_or(brightness);
  if (cpu_) {
    cpu_->read(&reading_);
    if (counting_) {
      interval.deviceCpu = Difference(reading_.deviceCpu, lastDeviceCpu_);
      interval.apps = AppsOf(reading_, interval.screen);
    }
    lastDeviceCpu_ = reading_.deviceCpu;
    counting_ = true;
  }
  lastBrightness_ = brightness;
  write(interval);
}

void PowerIntervals::write(const PowerInterval& interval) {
  insertInterval_.bind(1, interval.at).bind(2, interval.day);
  insertInterval_.bind(3, int64_t{interval.utcOffset}).bind(4, interval.duration);
  insertInterval_.bind(5, interval.energy).bind(6, int64_t{interval.plugged});
  if (interval.awake) {
    insertInterval_.bind(7, int64_t{*interval.awake});
  } else {
    insertInterval_.bindNull(7);
  }
  insertInterval_.bind(8, int64_t{interval.screen}).bind(9, interval.brightness);
  if (interval.deviceCpu) {
    insertInterval_.bind(10, *interval.deviceCpu);
  } else {
    insertInterval_.bindNull(10);
  }
  insertInterval_.run();
  const int64_t id = db_.lastInsertRowid();
  for (const IntervalApp& app : interval.apps) {
    insertApp_.bind(1, id).bind(2, app.bundle).bind(3, app.foregroundSeconds);
    insertApp_.bind(4, app.backgroundSeconds);
    if (app.foregroundCpu) {
      insertApp_.bind(5, *app.foregroundCpu).bind(6, *app.backgroundCpu);
    } else {
      insertApp_.bindNull(5).bindNull(6);
    }
    insertApp_.run();
  }
}

void ForEachIntervalDay(Database& db,
                        const std::function<void(std::vector<PowerInterval>& day)>& visit) {
  if (!db.hasTable("power_intervals")) return;
  // Both tables in the order they were written: an interval's applications follow it, so one
  // pass over each holds a day at a time, not the store.
  Statement rows = db.prepare(
      "SELECT id, at, day, utc_offset, duration, energy, plugged, awake, screen, brightness, "
      "device_cpu FROM power_intervals ORDER BY id");
  std::optional<Statement> apps;
  if (db.hasTable("interval_apps")) {
    apps.emplace(
        db.prepare("SELECT interval, bundle, foreground_time, background_time, foreground_cpu, "
                   "background_cpu FROM interval_apps ORDER BY rowid"));
  }
  bool appPending = apps && apps->row();
  std::vector<PowerInterval> day;
  while (rows.row()) {
    PowerInterval interval;
    interval.id = rows.columnInt64(0);
    interval.at = rows.columnNumber(1);
    interval.day = rows.columnText(2);
    interval.utcOffset = static_cast<int32_t>(rows.columnNumber(3));
    interval.duration = rows.columnNumber(4);
    interval.energy = rows.columnNumber(5);
    interval.plugged = rows.columnNumber(6) != 0;
    if (rows.columnType(7) != SQLITE_NULL) interval.awake = rows.columnNumber(7) != 0;
    interval.screen = rows.columnNumber(8) != 0;
    interval.brightness = rows.columnNumber(9);
    if (rows.columnType(10) != SQLITE_NULL) interval.deviceCpu = rows.columnNumber(10);
    // Applications of an interval the table does not hold (a damaged store) are passed over.
    while (appPending && apps->columnInt64(0) <= interval.id) {
      if (apps->columnInt64(0) == interval.id) {
        IntervalApp app;
        app.bundle = apps->columnText(1);
        app.foregroundSeconds = apps->columnNumber(2);
        app.backgroundSeconds = apps->columnNumber(3);
        if (apps->columnType(4) != SQLITE_NULL && apps->columnType(5) != SQLITE_NULL) {
          app.foregroundCpu = apps->columnNumber(4);
          app.backgroundCpu = apps->columnNumber(5);
        }
        interval.apps.push_back(std::move(app));
      }
      appPending = apps->row();
    }
    if (!day.empty() && day.back().day != interval.day) {
      visit(day);
      day.clear();
    }
    day.push_back(std::move(interval));
  }
  if (!day.empty()) visit(day);
}

std::vector<PowerInterval> ReadPowerIntervals(Database& db) {
  std::vector<PowerInterval> intervals;
  ForEachIntervalDay(db, [&](std::vector<PowerInterval>& day) {
    std::move(day.begin(), day.end(), std::back_inserter(intervals));
  });
  return intervals;
}

}  // namespace tl::host
