// The report as one HTML page that opens offline: tables as tables, charts drawn by the embedded
// chart library from the embedded data.
#include <cmath>
#include <cstdio>

#include "base/saturated_cast.h"
#include "host/report/report_assets.h"
#include "host/report/report_formats.h"

namespace tl::host::report {

namespace {

std::string Escape(std::string_view text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

// A data block ends at the first "</": inside it every "<" (only ever inside a JSON string) is
// written as its escape.
std::string InDataBlock(std::string_view json) {
  std::string out;
  for (char c : json) {
    if (c == '<') {
      out += "\\u003c";
    } else {
      out += c;
    }
  }
  return out;
}

// A script ends at "</script": inside strings and patterns "<\/" means the same.
std::string InScript(std::string_view code) {
  std::string out(code);
  for (size_t at = out.find("</"); at != std::string::npos; at = out.find("</", at + 3)) {
    out.replace(at, 2, "<\\/");
  }
  return out;
}

std::string Shown(const Column& column, const Cell& cell) {
  if (auto* s = std::get_if<std::string>(&cell)) return *s;
  const auto number = NumberOf(cell);
  if (!number) return "n/a";
  char text[48];
  switch (column.kind) {
    case Kind::kDuration: {
      const int64_t minutes = SaturatedRound<int64_t>(std::fabs(*number) / 60.0);
      std::snprintf(text, sizeof text, "%s%lld:%02lld", *number < 0 ? "−" : "",
                    static_cast<long long>(minutes / 60), static_cast<long long>(minutes % 60));
      return text;
    }
    case Kind::kEnergy:
      std::snprintf(text, sizeof text, "%.0f mWh", *number);
      return text;
    case Kind::kPower:
      std::snprintf(text, sizeof text, "%.0f mW", *number);
      return text;
    case Kind::kPercent:
      std::snprintf(text, sizeof text, "%.*f %%", std::fabs(*number) < 10 ? 1 : 0, *number);
      return text;
    case Kind::kCount:
      std::snprintf(text, sizeof text, "%.0f", *number);
      return text;
    default:
      std::snprintf(text, sizeof text, "%.*f", *number == std::trunc(*number) ? 0 : 2, *number);
      return text;
  }
}

std::string HtmlTable(const Table& table, bool sortable) {
  std::string out = "<table id=\"table-" + table.name + "\"" +
                    (sortable ? " class=\"sortable\"" : "") + ">\n<thead><tr>";
  for (const Column& column : table.columns) {
    out += "<th scope=\"col\"";
    if (column.kind != Kind::kText && column.kind != Kind::kDay) out += " class=\"num\"";
    out += '>';
    out += Escape(column.header);
    out += "</th>";
  }
  out += "</tr></thead>\n<tbody>\n";
  for (const auto& row : table.rows) {
    out += "<tr>";
    for (size_t c = 0; c < row.size(); ++c) {
      const Column& column = table.columns[c];
      const auto number = NumberOf(row[c]);
      out += "<td";
      if (number) out += " class=\"num\" data-value=\"" + DataNumber(*number) + "\"";
      if (!number && !std::holds_alternative<std::string>(row[c])) out += " class=\"na\"";
      out += '>';
      out += Escape(Shown(column, row[c]));
      out += "</td>";
    }
    out += "</tr>\n";
  }
  return out + "</tbody></table>\n";
}

std::string Section(const std::string& id, const std::string& title, const std::string& body) {
  return "<section id=\"" + id + "\">\n<h2>" + Escape(title) + "</h2>\n" + body + "</section>\n";
}

std::string TableSection(const Report& report, const std::string& name, bool sortable,
                         const std::string& before = "") {
  const Table* table = report.table(name);
  if (!table) return "";
  std::string body = before;
  if (!table->note.empty()) body += "<p class=\"note\">" + Escape(table->note) + "</p>\n";
  body +=
      table->rows.empty() ? "<p class=\"na\">None recorded.</p>\n" : HtmlTable(*table, sortable);
  return "<h3>" + Escape(table->title) + "</h3>\n" + body;
}

// A card per day: the few numbers people look at first.
std::string Cards(const Report& report) {
  const Table* days = report.table("days");
  std::string out = "<div class=\"cards\">\n";
  for (const auto& row : days->rows) {
    out += "<article class=\"card\"><h3>" + Escape(std::get<std::string>(row[0])) + "</h3><dl>";
    for (size_t c = 1; c < row.size(); ++c) {
      out += "<dt>" + Escape(days->columns[c].header) + "</dt><dd>" +
             Escape(Shown(days->columns[c], row[c])) + "</dd>";
    }
    out += "</dl></article>\n";
  }
  return out + "</div>\n";
}

}  // namespace

std::string RenderHtml(const Report& report) {
  std::string title = "tallyd report";
  if (!report.days.empty()) title += " " + report.days.front() + " to " + report.days.back();
  std::string out =
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<title>" +
      Escape(title) + "</title>\n<style>\n";
  out += ChartLibraryStyles();
  out += "\n";
  out += PageStyles();
  out += "</style>\n</head>\n<body>\n<header>\n<h1>" + Escape(title) +
         "</h1>\n<ul class=\"reading\">\n";
  for (const std::string& sentence : report.reading) out += "<li>" + Escape(sentence) + "</li>\n";
  out += "</ul>\n<dl class=\"meta\">";
  for (const auto& [name, value] : report.meta) {
    out += "<dt>" + Escape(name) + "</dt><dd>" + Escape(value) + "</dd>";
  }
  out += "</dl>\n</header>\n<main>\n";
  if (report.days.empty()) {
    out += "<p>The store holds nothing for these days.</p>\n";
  } else {
    out += Section("days", "Days", Cards(report));
    out += Section("timeline", "Timeline",
                   "<p class=\"note\">Drag across a chart to zoom, double-click to zoom out; the "
                   "cursor follows across the rows. Shaded stretches were not recorded; dotted "
                   "lines are local midnights; dashed lines are wakes.</p>\n"
                   "<div class=\"chart\" id=\"chart-level\"></div>\n"
                   "<div class=\"chart\" id=\"chart-bands\"></div>\n"
                   "<div class=\"chart\" id=\"chart-thermal\"></div>\n");
    out += Section("states", "Time and energy per power state",
                   "<div class=\"chart\" id=\"chart-states\"></div>\n" +
                       TableSection(report, "states", false));
    out += Section("battery-use", "Battery use by app",
                   TableSection(report, "app_energy", true,
                                "<div class=\"chart\" id=\"chart-app-energy\"></div>\n"));
    out += Section("apps", "Applications", TableSection(report, "apps", true));
    out +=
        Section("details", "Wakes, brightness, low-power mode, thermal level and network",
                TableSection(report, "wakes", true) +
                    TableSection(report, "brightness", false,
                                 "<div class=\"chart\" id=\"chart-brightness\"></div>\n") +
                    TableSection(report, "backlight_setting", false) +
                    TableSection(report, "low_power_mode", false) +
                    TableSection(report, "thermal", false) + TableSection(report, "network", true));
    if (report.table("compare"))
      out += Section("compare", "Compare", TableSection(report, "compare", false));
    std::string data =
        "<p class=\"note\">Every table as CSV (the column names carry the units), and the whole "
        "report as JSON.</p>\n<ul class=\"downloads\" id=\"downloads\"></ul>\n";
    for (const Table& table : report.tables) {
      data += "<details><summary>" + Escape(table.name) +
              ".csv</summary><pre class=\"csv\" "
              "data-name=\"" +
              Escape(table.name) + "\">" + Escape(RenderCsv(table)) + "</pre></details>\n";
    }
    out += Section("data", "The data", data);
  }
  out += "</main>\n<footer><p>Made by tallyd " + Escape(report.version) +
         ". Charts drawn with uPlot; its licence:</p><pre class=\"licence\">" +
         Escape(ChartLibraryLicence()) + "</pre></footer>\n";
  out += "<script type=\"application/json\" id=\"report-data\">" + InDataBlock(RenderJson(report)) +
         "</script>\n<script>\n" + InScript(ChartLibraryScript()) + "\n</script>\n<script>\n" +
         InScript(PageScript()) + "\n</script>\n</body>\n</html>\n";
  return out;
}

}  // namespace tl::host::report
