// The data a report page embeds: every table as rows of values rounded to what the page shows,
// the timeline as its changes only (times in whole seconds from the first), so that a year of
// history stays a few megabytes.
#include <cmath>
#include <cstdio>
#include <map>
#include <nlohmann/json.hpp>
#include <string_view>
#include <vector>

#include "host/report/report_formats.h"

namespace tl::host::report {

namespace {

using Json = nlohmann::json;

// The page's data is written straight into its text: a year of rows as a JSON document in
// memory would take many times the text's size.
class Writer {
 public:
  std::string text;

  void raw(std::string_view s) {
    text += s;
    fresh_ = false;
  }
  void string(const std::string& s) { raw(Json(s).dump()); }
  void number(double v) {
    fresh_ = false;
    if (!std::isfinite(v)) {
      text += "null";
    } else if (std::fabs(v) < 1e15 && v == std::trunc(v)) {
      text += std::to_string(static_cast<int64_t>(v));
    } else {
      char buffer[32];
      std::snprintf(buffer, sizeof buffer, "%.10g", v);
      text += buffer;
    }
  }
  void key(const char* name) {
    comma();
    text += '"';
    text += name;
    text += "\":";
    fresh_ = true;
  }
  void open(char bracket) {
    comma();
    text += bracket;
    fresh_ = true;
  }
  void close(char bracket) {
    text += bracket;
    fresh_ = false;
  }
  // Before a value in an array: a comma unless it is the first.
  void comma() {
    if (!fresh_) text += ',';
    fresh_ = false;
  }

 private:
  bool fresh_ = true;
};

// A page shows whole seconds and mW, tenths of a mWh and of a percent.
double PageRound(Kind kind, double number) {
  double step = 0.01;
  switch (kind) {
    case Kind::kDuration:
    case Kind::kPower:
    case Kind::kCount:
    case Kind::kTime:
      step = 1;
      break;
    case Kind::kEnergy:
    case Kind::kPercent:
      step = 0.1;
      break;
    default:
      break;
  }
  return std::round(std::round(number / step) * step * 100.0) / 100.0;
}

// A table: its columns, its texts each once, and its rows, where a text of a column of texts or
// days is the index of its text.
void WriteTable(Writer& w, const Table& table) {
  std::map<std::string, size_t> index;
  std::vector<const std::string*> texts;
  w.open('{');
  w.key("title");
  w.string(table.title);
  w.key("note");
  w.string(table.note);
  w.key("columns");
  w.open('[');
  for (const Column& column : table.columns) {
    w.open('[');
    w.comma();
    w.string(column.name);
    w.comma();
    w.string(column.header);
    w.comma();
    w.number(static_cast<int>(column.kind));
    w.comma();
    w.string(column.unit);
    w.close(']');
  }
  w.close(']');
  w.key("rows");
  w.open('[');
  for (const auto& row : table.rows) {
    w.open('[');
    for (size_t c = 0; c < row.size(); ++c) {
      w.comma();
      const Kind kind = table.columns[c].kind;
      const auto* text = std::get_if<std::string>(&row[c]);
      if (text && kind != Kind::kText && kind != Kind::kDay) {
        w.string(*text);
      } else if (text) {
        auto [it, added] = index.emplace(*text, texts.size());
        if (added) texts.push_back(&it->first);
        w.number(static_cast<double>(it->second));
      } else if (auto number = NumberOf(row[c])) {
        w.number(PageRound(table.columns[c].kind, *number));
      } else {
        w.raw("null");
      }
    }
    w.close(']');
  }
  w.close(']');
  w.key("texts");
  w.open('[');
  for (const std::string* text : texts) {
    w.comma();
    w.string(*text);
  }
  w.close(']');
  w.close('}');
}

// One kind of change along the timeline: its times as whole seconds after the one before (the
// first after the origin) and its values.
class Changes {
 public:
  explicit Changes(double origin) : last_(std::round(origin)) {}
  void add(double at, double value) {
    const double t = std::round(at);
    times_.push_back(static_cast<int64_t>(t - last_));
    last_ = t;
    values_.push_back(value);
  }
  void write(Writer& w) const {
    w.open('{');
    w.key("dt");
    w.open('[');
    for (int64_t t : times_) {
      w.comma();
      w.number(static_cast<double>(t));
    }
    w.close(']');
    w.key("v");
    w.open('[');
    for (double v : values_) {
      w.comma();
      w.number(v);
    }
    w.close(']');
    w.close('}');
  }

 private:
  double last_;
  std::vector<int64_t> times_;
  std::vector<double> values_;
};

void WriteTimeline(Writer& w, const Report& report) {
  const double origin = report.midnights.empty() ? 0 : report.midnights.front();
  Changes state(origin), level(origin), thermal(origin), wakes(origin);
  PageSampler sampler;
  for (const TimelinePoint& p : report.timeline) {
    const auto changed = sampler.state(p);
    if (changed) state.add(p.at, *changed);
    if (const auto kept = sampler.level(p, changed.has_value())) {
      level.add(p.at, std::round(*kept * 10.0) / 10.0);
    }
    if (p.thermal) thermal.add(p.at, *p.thermal);
    if (p.event == Event::kWake) wakes.add(p.at, p.wakeReason);
  }
  w.open('{');
  w.key("origin");
  w.number(std::round(origin));
  w.key("state");
  state.write(w);
  w.key("level");
  level.write(w);
  w.key("thermal");
  thermal.write(w);
  w.key("wakes");
  wakes.write(w);
  w.key("reasons");
  w.raw(Json(report.wakeReasons).dump());
  w.close('}');
}

}  // namespace

std::string PageData(const Report& report) {
  Writer w;
  w.open('{');
  w.key("generator");
  w.string("tallyd " + report.version);
  Json meta = Json::object();
  for (const auto& [name, value] : report.meta) meta[name] = value;
  w.key("meta");
  w.raw(meta.dump());
  w.key("time_zone");
  w.string(report.timeZone);
  w.key("days");
  w.raw(Json(report.days).dump());
  w.key("midnights");
  w.raw(Json(report.midnights).dump());
  w.key("tables");
  w.open('{');
  for (const Table& table : report.tables) {
    w.key(table.name.c_str());
    WriteTable(w, table);
  }
  w.close('}');
  Json order = Json::array();
  for (const Table& table : report.tables) order.push_back(table.name);
  w.key("order");
  w.raw(order.dump());
  Json summary = Json::array();
  for (const DaySummary& day : report.summary) summary.push_back({day.day, day.sentences});
  w.key("summary");
  w.raw(summary.dump());
  Json nights = Json::array();
  for (const Night& n : report.nights) nights.push_back({n.day, n.from, n.to, n.verdict});
  w.key("nights");
  w.raw(nights.dump());
  w.key("timeline");
  WriteTimeline(w, report);
  Json gaps = Json::array();
  for (const Stretch& s : report.notRecorded) gaps.push_back({s.from, s.to, s.why});
  w.key("not_recorded");
  w.raw(gaps.dump());
  w.close('}');
  return std::move(w.text);
}

}  // namespace tl::host::report
