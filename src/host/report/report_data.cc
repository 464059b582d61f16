// The report's data formats: CSV per table and JSON of everything.
#include <cmath>
#include <nlohmann/json.hpp>

#include "host/report/report_formats.h"
#include "host/store/stats_store.h"

namespace tl::host::report {

namespace {

using Json = nlohmann::ordered_json;

std::string CsvField(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (char c : text) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  return quoted + "\"";
}

Json Optional(const std::optional<double>& value) { return value ? CellJson(*value) : Json(); }

// Each day's summary: its sentences, and the figures they are made of.
Json SummaryJson(const std::vector<DaySummary>& summary) {
  Json days = Json::array();
  for (const DaySummary& s : summary) {
    Json consumers = Json::array();
    for (const Consumer& c : s.consumers) {
      consumers.push_back({{"name", c.name},
                           {"energy_mWh", CellJson(c.milliwattHours)},
                           {"share_pct", CellJson(c.sharePercent)}});
    }
    Json unusual = Json::array();
    for (const Unusual& u : s.unusual) {
      unusual.push_back({{"measure", u.measure},
                         {"app", u.subject.empty() ? Json() : Json(u.subject)},
                         {"value", CellJson(u.value)},
                         {"typical", CellJson(u.typical)},
                         {"text", u.text}});
    }
    days.push_back({{"day", s.day},
                    {"sentences", s.sentences},
                    {"on_battery_s", Optional(s.onBattery)},
                    {"used_pct", Optional(s.usedPercent)},
                    {"used_pct_per_h", Optional(s.percentPerHour)},
                    {"consumers_estimated", consumers},
                    {"night_verdict", s.nightVerdict.empty() ? Json() : Json(s.nightVerdict)},
                    {"typical_days", s.typicalDays},
                    {"unusual", unusual}});
  }
  return days;
}

}  // namespace

Json CellJson(const Cell& cell) {
  if (auto* i = std::get_if<int64_t>(&cell)) return *i;
  if (auto* d = std::get_if<double>(&cell)) {
    if (!std::isfinite(*d)) return nullptr;
    const double rounded = std::round(*d * 1000.0) / 1000.0;
    if (rounded == std::trunc(rounded) && std::fabs(rounded) < 1e15) {
      return static_cast<int64_t>(rounded);
    }
    return rounded;
  }
  if (auto* s = std::get_if<std::string>(&cell)) return *s;
  return nullptr;
}

// Three decimals at most; a number past 10^15 has none to round, and multiplying it could
// overflow.
std::string DataNumber(double value) {
  if (!(std::fabs(value) < 1e15)) return FormatNumber(value);
  return FormatNumber(std::round(value * 1000.0) / 1000.0);
}

std::string RenderCsv(const Table& table) {
  std::string out;
  for (size_t c = 0; c < table.columns.size(); ++c) {
    if (c) out += ',';
    out += CsvField(table.columns[c].name);
  }
  out += "\n";
  for (const auto& row : table.rows) {
    for (size_t c = 0; c < row.size(); ++c) {
      if (c) out += ',';
      if (auto number = NumberOf(row[c])) {
        out += DataNumber(*number);
      } else if (auto* s = std::get_if<std::string>(&row[c])) {
        out += CsvField(*s);
      }
    }
    out += "\n";
  }
  return out;
}

std::string RenderJson(const Report& report) {
  Json json;
  json["generator"] = "tallyd " + report.version;
  Json meta = Json::object();
  for (const auto& [name, value] : report.meta) meta[name] = value;
  json["meta"] = meta;
  json["time_zone"] = report.timeZone;
  json["days"] = report.days;
  json["reading"] = report.reading;
  json["summary"] = SummaryJson(report.summary);
  Json units = Json::object();
  Json tables = Json::object();
  for (const Table& table : report.tables) {
    Json rows = Json::array();
    for (const auto& row : table.rows) {
      Json object = Json::object();
      for (size_t c = 0; c < row.size(); ++c) object[table.columns[c].name] = CellJson(row[c]);
      rows.push_back(std::move(object));
    }
    Json columns = Json::array();
    for (const Column& column : table.columns) {
      columns.push_back({{"name", column.name}, {"header", column.header}, {"unit", column.unit}});
      if (!column.unit.empty()) units[column.name] = column.unit;
    }
    tables[table.name] = {
        {"title", table.title}, {"note", table.note}, {"columns", columns}, {"rows", rows}};
  }
  json["units"] = units;
  json["tables"] = tables;
  Json timeline = Json::array();
  for (const TimelinePoint& p : report.timeline) {
    Json point = {{"at", p.at},
                  {"local", LocalClock(p.at, p.utcOffset, true)},
                  {"event", EventName(p.event)}};
    point["state"] = p.state ? Json(*p.state) : Json();
    point["level_pct"] = p.level ? CellJson(static_cast<double>(*p.level)) : Json();
    point["thermal"] = p.thermal ? Json(*p.thermal) : Json();
    point["wake_reason"] = p.wakeReason ? Json(report.wakeReasons[p.wakeReason]) : Json();
    timeline.push_back(std::move(point));
  }
  json["timeline"] = timeline;
  Json gaps = Json::array();
  for (const Stretch& s : report.notRecorded) {
    gaps.push_back({{"from", s.from}, {"to", s.to}, {"why", s.why}});
  }
  json["not_recorded"] = gaps;
  Json outside = Json::array();
  for (const auto& [day, count] : report.outside)
    outside.push_back({{"day", day}, {"values", count}});
  json["outside_range"] = outside;
  json["midnights"] = report.midnights;
  return json.dump(1) + "\n";
}

}  // namespace tl::host::report
