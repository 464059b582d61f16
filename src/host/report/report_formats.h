// The report's formats: text for a terminal, CSV per table, JSON, and one self-contained HTML
// page.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "host/report/report_model.h"

namespace tl::host::report {

// Fits 80 columns.
std::string RenderText(const Report& report);
// One table, with a header line of column names that carry their units.
std::string RenderCsv(const Table& table);
// Everything: meta, how to read it, units, every table as objects, the timeline.
std::string RenderJson(const Report& report);
// Opens offline: the chart library, the styles and the data are all inside.
std::string RenderHtml(const Report& report);
// The data the page embeds and draws from, as JSON.
std::string PageData(const Report& report);

// A cell as the JSON formats write it: numbers as DataNumber does, null for none and for a
// figure that is not finite.
nlohmann::ordered_json CellJson(const Cell& cell);

// A number as the data formats write it: integers without a point, others to three decimals.
std::string DataNumber(double value);

}  // namespace tl::host::report
