// The report as one HTML page that opens offline: tables as tables, charts drawn by the embedded
// chart library from the embedded data.
#include <algorithm>
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
// written as its escape. Appended in place: the data is most of a long report's page.
void AppendDataBlock(std::string& out, std::string_view json) {
  for (size_t at = 0; at < json.size();) {
    const size_t lt = json.find('<', at);
    out.append(json.substr(at, lt == std::string_view::npos ? std::string_view::npos : lt - at));
    if (lt == std::string_view::npos) break;
    out += "\\u003c";
    at = lt + 1;
  }
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

std::string Section(const std::string& id, const std::string& title, const std::string& body) {
  return "<section id=\"" + id + "\">\n<h2>" + Escape(title) + "</h2>\n" + body + "</section>\n";
}

// A table's place: the page's script fills it from the data, a day at a time when there are
// many days.
std::string TableSection(const Report& report, const std::string& name,
                         const std::string& before = "") {
  const Table* table = report.table(name);
  if (!table) return "";
  std::string body = before;
  if (!table->note.empty()) body += "<p class=\"note\">" + Escape(table->note) + "</p>\n";
  body += table->rows.empty() ? "<p class=\"na\">None recorded.</p>\n"
                              : "<div class=\"table\" data-table=\"" + Escape(name) + "\"></div>\n";
  return "<h3>" + Escape(table->title) + "</h3>\n" + body;
}

// The last days' summaries, newest first: the answers before anything else.
constexpr size_t kSummaryDays = 7;

std::string Summary(const Report& report) {
  std::string out = "<div class=\"summary\">\n";
  const size_t shown = std::min(report.summary.size(), kSummaryDays);
  for (size_t i = report.summary.size(); i-- > report.summary.size() - shown;) {
    const DaySummary& day = report.summary[i];
    out += "<article data-day=\"" + Escape(day.day) + "\"><h3>" + Escape(day.day);
    if (!day.nightVerdict.empty()) {
      out += " <span class=\"verdict\" data-verdict=\"" + Escape(day.nightVerdict) + "\">" +
             Escape(day.nightVerdict) + "</span>";
    }
    out += "</h3>";
    for (const std::string& sentence : day.sentences) out += "<p>" + Escape(sentence) + "</p>";
    out += "</article>\n";
  }
  if (report.summary.size() > shown) {
    out += "<p class=\"note\">The last " + std::to_string(shown) + " of " +
           std::to_string(report.summary.size()) +
           " days; the cards below and the report's JSON hold every day.</p>\n";
  }
  return out + "</div>\n";
}

// A card per day, the most recent first; with many days, the last fortnight, and the days
// table below holds them all.
constexpr size_t kCards = 14;

std::string Cards(const Report& report) {
  const Table* days = report.table("days");
  std::string out = "<div class=\"cards\">\n";
  const size_t shown = std::min(days->rows.size(), kCards);
  for (size_t r = days->rows.size(); r-- > days->rows.size() - shown;) {
    const auto& row = days->rows[r];
    const std::string day = std::get<std::string>(row[0]);
    out += "<article class=\"card\" data-day=\"" + Escape(day) + "\" tabindex=\"0\" title=\"" +
           "Show this day on the timeline\"><h3>" + Escape(day) + "</h3><dl>";
    for (size_t c = 1; c < row.size(); ++c) {
      out += "<dt>" + Escape(days->columns[c].header) + "</dt><dd>" +
             Escape(Shown(days->columns[c], row[c])) + "</dd>";
    }
    out += "</dl></article>\n";
  }
  out += "</div>\n";
  if (days->rows.size() > shown) {
    out += "<p class=\"note\">The last " + std::to_string(shown) + " of " +
           std::to_string(days->rows.size()) + " days; every day is in the table below.</p>\n" +
           TableSection(report, "days");
  }
  return out;
}

}  // namespace

std::string RenderHtml(const Report& report) {
  std::string title = "tallyd report";
  if (!report.days.empty()) title += " " + report.days.front() + " to " + report.days.back();
  std::string out =
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<meta name=\"color-scheme\" content=\"light dark\">\n"
      "<title>" +
      Escape(title) + "</title>\n<style>\n";
  out += ChartLibraryStyles();
  out += "\n";
  out += PageStyles();
  out += "</style>\n</head>\n<body>\n<header>\n<h1>" + Escape(title) + "</h1>\n";
  if (!report.summary.empty()) out += Summary(report);
  out += "<details class=\"reading\"><summary>How to read this report</summary>\n<ul>\n";
  for (const std::string& sentence : report.reading) out += "<li>" + Escape(sentence) + "</li>\n";
  out += "</ul>\n<dl class=\"meta\">";
  for (const auto& [name, value] : report.meta) {
    out += "<dt>" + Escape(name) + "</dt><dd>" + Escape(value) + "</dd>";
  }
  out += "</dl>\n</details>\n</header>\n<main>\n";
  if (report.days.empty()) {
    out += "<p>The store holds nothing for these days.</p>\n";
  } else {
    out += Section("days", "Days", Cards(report));
    out += Section(
        "timeline", "Timeline",
        "<p class=\"note\">Drag across a chart to zoom, double-click to zoom out, click a day's "
        "card or a night to see it; the cursor follows across the rows. Over more than two weeks "
        "each day is drawn as its range. Grey stretches were not recorded; nights are shaded by "
        "their verdict; dotted lines are local midnights; wakes are red marks, darker where "
        "they crowd.</p>\n<p class=\"legend\" id=\"verdicts\"></p>\n"
        "<div class=\"chart\" id=\"chart-level\"></div>\n"
        "<div class=\"chart\" id=\"chart-bands\"></div>\n"
        "<div class=\"chart\" id=\"chart-thermal\"></div>\n");
    out += Section("nights", "Nights", TableSection(report, "nights"));
    out += "<p class=\"pick\" id=\"pick\"></p>\n";
    out += Section(
        "states", "Time and energy per power state",
        "<div class=\"chart\" id=\"chart-states\"></div>\n" + TableSection(report, "states"));
    out += Section("battery-use", "Battery use by app",
                   TableSection(report, "app_energy",
                                "<div class=\"chart\" id=\"chart-app-energy\"></div>\n"));
    out += Section("apps", "Applications", TableSection(report, "apps"));
    out += Section("details", "Wakes, brightness, low-power mode, thermal level and network",
                   TableSection(report, "wakes") +
                       TableSection(report, "brightness",
                                    "<div class=\"chart\" id=\"chart-brightness\"></div>\n") +
                       TableSection(report, "backlight_setting") +
                       TableSection(report, "low_power_mode") + TableSection(report, "thermal") +
                       TableSection(report, "network"));
    if (report.table("compare"))
      out += Section("compare", "Compare", TableSection(report, "compare"));
    out += Section("data", "The data",
                   "<p class=\"note\">Every table as CSV (the column names carry the units) and "
                   "the page's data as JSON, as the page shows them; tallyd report --format csv "
                   "or json gives them unrounded.</p>\n<ul class=\"downloads\" "
                   "id=\"downloads\"></ul>\n");
  }
  out += "</main>\n<footer><p>Made by tallyd " + Escape(report.version) +
         ". Charts drawn with uPlot; its licence:</p><pre class=\"licence\">" +
         Escape(ChartLibraryLicence()) + "</pre></footer>\n";
  const std::string data = PageData(report);
  out.reserve(out.size() + data.size() + ChartLibraryScript().size() + PageScript().size() + 4096);
  out += "<script type=\"application/json\" id=\"report-data\">";
  AppendDataBlock(out, data);
  out += "</script>\n<script>\n" + InScript(ChartLibraryScript()) + "\n</script>\n<script>\n" +
         InScript(PageScript()) + "\n</script>\n</body>\n</html>\n";
  return out;
}

}  // namespace tl::host::report
