// Timeline: the timeline table, its rows and their reading back.
#include "host/store/timeline.h"

#include <algorithm>

namespace tl::host {

namespace {

constexpr char kColumns[] =
    "at, day, utc_offset, event, state, capacity, max_capacity, level, voltage, brightness, "
    "wake_reason, thermal";

Database& WithTable(Database& db) {
  if (!db.hasTable("timeline")) {
    db.exec(
        "CREATE TABLE timeline (at REAL NOT NULL, day TEXT NOT NULL, utc_offset INTEGER NOT NULL, "
        "event TEXT NOT NULL, state INTEGER, capacity REAL, max_capacity REAL, level REAL, "
        "voltage REAL, brightness REAL, wake_reason TEXT, thermal INTEGER)");
  }
  return db;
}

template <class T>
void BindOptional(Statement& s, int index, const std::optional<T>& value) {
  if (value) {
    s.bind(index, *value);
  } else {
    s.bindNull(index);
  }
}

std::optional<double> OptionalDouble(Statement& s, int column) {
  if (s.columnType(column) == SQLITE_NULL) return std::nullopt;
  return s.columnNumber(column);
}

std::optional<int64_t> OptionalInt(Statement& s, int column) {
  if (s.columnType(column) == SQLITE_NULL) return std::nullopt;
  s.requireNumber(column);
  return s.columnInt64(column);
}

}  // namespace

Timeline::Timeline(Database& db)
    : insert_(WithTable(db).prepare((std::string("INSERT INTO timeline (") + kColumns +
                                     ") VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12)")
                                        .c_str())) {}

void Timeline::add(const TimelineRow& row) {
  insert_.bind(1, row.at).bind(2, row.day).bind(3, int64_t{row.utcOffset}).bind(4, row.event);
  BindOptional(insert_, 5, row.state ? std::optional<int64_t>(*row.state) : std::nullopt);
  BindOptional(insert_, 6, row.capacity);
  BindOptional(insert_, 7, row.maxCapacity);
  BindOptional(insert_, 8, row.level);
  BindOptional(insert_, 9, row.voltage);
  BindOptional(insert_, 10, row.brightness);
  BindOptional(insert_, 11, row.wakeReason);
  BindOptional(insert_, 12, row.thermal);
  insert_.run();
}

void ForEachTimelineRow(Database& db, const std::function<void(TimelineRow& row)>& visit) {
  if (!db.hasTable("timeline")) return;
  Statement list =
      db.prepare((std::string("SELECT ") + kColumns + " FROM timeline ORDER BY at, rowid").c_str());
  TimelineRow row;
  while (list.row()) {
    row.at = list.columnNumber(0);
    row.day = list.columnText(1);
    list.requireNumber(2);
    row.utcOffset = static_cast<int32_t>(list.columnInt64(2));
    row.event = list.columnText(3);
    row.state.reset();
    if (auto state = OptionalInt(list, 4)) row.state = static_cast<int>(*state);
    row.capacity = OptionalDouble(list, 5);
    row.maxCapacity = OptionalDouble(list, 6);
    row.level = OptionalDouble(list, 7);
    row.voltage = OptionalDouble(list, 8);
    row.brightness = OptionalDouble(list, 9);
    row.wakeReason.reset();
    if (list.columnType(10) != SQLITE_NULL) row.wakeReason = list.columnText(10);
    row.thermal = OptionalInt(list, 11);
    visit(row);
  }
}

size_t CountTimelineRows(Database& db) {
  if (!db.hasTable("timeline")) return 0;
  Statement count = db.prepare("SELECT COUNT(*) FROM timeline");
  const size_t rows =
      count.row() ? static_cast<size_t>(std::max<int64_t>(0, count.columnInt64(0))) : 0;
  return rows;
}

std::vector<TimelineRow> ReadTimeline(Database& db) {
  std::vector<TimelineRow> rows;
  ForEachTimelineRow(db, [&](TimelineRow& row) { rows.push_back(row); });
  return rows;
}

}  // namespace tl::host
