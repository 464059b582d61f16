// The export's tables: each report table's rows with the device and the schema version, the
// nights and days with their bounds in UTC microseconds, the timeline's points with their state
// bits spelled out, and the store's meta once a day.
#include "host/export/export_tables.h"

#include <cmath>
#include <map>

#include "host/report/report_formats.h"

namespace tl::host::exporting {

namespace {

using Json = nlohmann::ordered_json;
using report::Report;

Json RowStart(const std::string& deviceId) {
  Json row = Json::object();
  row["schema_version"] = kSchemaVersion;
  row["device_id"] = deviceId;
  return row;
}

// The store's facts that describe the device and its software; the trace's path and hash stay
// home, since they name files on the machine that replayed it.
void MetaRows(const Report& report, const std::string& deviceId, const RowSink& sink) {
  std::map<std::string, std::string> meta(report.meta.begin(), report.meta.end());
  auto value = [&](const char* name) {
    auto it = meta.find(name);
    return it == meta.end() ? Json() : Json(it->second);
  };
  for (const std::string& day : report.days) {
    Json row = RowStart(deviceId);
    row["day"] = day;
    row["machine"] = value("machine");
    row["system_version"] = value("system_version");
    row["time_zone"] = report.timeZone;
    row["source"] = value("source");
    row["tallyd_version"] = value("tallyd_version");
    sink("meta", row);
  }
}

// A report table's rows; extra adds the columns the table has only in the export.
void TableRows(const Report& report, const std::string& name, const std::string& deviceId,
               const RowSink& sink, const std::function<void(const std::string&, Json&)>& extra) {
  const report::Table* table = report.table(name);
  if (!table) return;
  for (const auto& cells : table->rows) {
    Json row = RowStart(deviceId);
    for (size_t c = 0; c < cells.size(); ++c) {
      row[table->columns[c].name] = report::CellJson(cells[c]);
    }
    if (extra) extra(row["day"].get<std::string>(), row);
    sink(name, row);
  }
}

Json Bit(const std::optional<int16_t>& state, int bit) {
  return state ? Json((*state & bit) != 0) : Json();
}

void TimelineRows(const Report& report, const std::string& deviceId, const RowSink& sink) {
  for (const report::TimelinePoint& p : report.timeline) {
    Json row = RowStart(deviceId);
    row["day"] = report::LocalClock(p.at, p.utcOffset).substr(0, 10);
    row["at_us"] = Microseconds(p.at);
    row["event"] = report::EventName(p.event);
    // The store's base-state bits, each its own column so that a query needs no bit arithmetic.
    row["plugged_in"] = Bit(p.state, 1);
    row["awake"] = Bit(p.state, 2);
    row["screen_on"] = Bit(p.state, 4);
    row["charging"] = Bit(p.state, 8);
    row["low_power_mode"] = Bit(p.state, 16);
    row["level_pct"] = p.level ? report::CellJson(static_cast<double>(*p.level)) : Json();
    row["thermal"] = p.thermal ? Json(*p.thermal) : Json();
    row["wake_reason"] = p.wakeReason ? Json(report.wakeReasons[p.wakeReason]) : Json();
    sink("timeline", row);
  }
}

}  // namespace

const std::vector<std::string>& ExportTableNames() {
  static const std::vector<std::string> names = {"meta",       "days",  "states", "apps",
                                                 "app_energy", "wakes", "nights", "timeline"};
  return names;
}

int64_t Microseconds(double seconds) { return std::llround(seconds * 1e6); }

void ExportRows(const Report& report, const std::string& deviceId, const RowSink& sink) {
  MetaRows(report, deviceId, sink);
  std::map<std::string, size_t> dayIndex;
  for (size_t i = 0; i < report.days.size(); ++i) dayIndex[report.days[i]] = i;
  TableRows(report, "days", deviceId, sink, [&](const std::string& day, Json& row) {
    const size_t i = dayIndex.at(day);
    row["start_us"] = Microseconds(report.midnights[i]);
    row["end_us"] = Microseconds(report.midnights[i + 1]);
  });
  for (const char* name : {"states", "apps", "app_energy", "wakes"}) {
    TableRows(report, name, deviceId, sink, nullptr);
  }
  std::map<std::string, const report::Night*> nights;
  for (const report::Night& night : report.nights) nights[night.day] = &night;
  TableRows(report, "nights", deviceId, sink, [&](const std::string& day, Json& row) {
    const report::Night& night = *nights.at(day);
    row["from_us"] = Microseconds(night.from);
    row["to_us"] = Microseconds(night.to);
  });
  TimelineRows(report, deviceId, sink);
}

}  // namespace tl::host::exporting
