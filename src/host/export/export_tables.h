// The export's tables: a report's days as rows that each say which device and day they are of,
// with the units in their column names and times in UTC microseconds.
#pragma once

#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/report/report_model.h"

namespace tl::host::exporting {

// Raised when a column's meaning changes or one is taken away; adding columns keeps it.
inline constexpr int kSchemaVersion = 1;

// The tables, in the order their rows come: meta, days, states, apps, app_energy, wakes, nights,
// timeline.
const std::vector<std::string>& ExportTableNames();

// Called with each row, all of a table's rows before the next table's; a year's timeline is a
// million rows, so none are kept.
using RowSink = std::function<void(const std::string& table, const nlohmann::ordered_json& row)>;

void ExportRows(const report::Report& report, const std::string& deviceId, const RowSink& sink);

// Seconds since 1970 as whole microseconds.
int64_t Microseconds(double seconds);

}  // namespace tl::host::exporting
