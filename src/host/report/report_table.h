// Table: one view of a report as rows of typed cells, with the unit of each column, so that every
// format (text, CSV, JSON, HTML) renders the same data its own way.
#pragma once

#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace tl::host::report {

// What a column holds decides how a format shows it: durations as h:mm in text and HTML and as
// seconds in CSV and JSON, whose column names carry the unit.
enum class Kind { kText, kDay, kTime, kCount, kDuration, kEnergy, kPower, kPercent, kNumber };

struct Column {
  std::string name;    // machine name with its unit: "duration_s", "energy_mWh"
  std::string header;  // for people: "time", "energy"
  Kind kind = Kind::kText;
  std::string unit;  // "s", "mWh", "mW", "%", "" for none
};

inline Column Col(std::string name, std::string header, Kind kind, std::string unit = "") {
  return {std::move(name), std::move(header), kind, std::move(unit)};
}

// Null stands for "not applicable" (shown as n/a) or not recorded.
using Cell = std::variant<std::monostate, int64_t, double, std::string>;

struct Table {
  std::string name;   // "days", "states", ...
  std::string title;  // "Time and energy per power state"
  std::string note;   // how to read it, or empty
  std::vector<Column> columns;
  std::vector<std::vector<Cell>> rows;
};

// A cell's number, or nullopt for text, null and a figure that is not finite (a rate over no
// time), which every format then shows as not applying.
inline std::optional<double> NumberOf(const Cell& cell) {
  if (auto* i = std::get_if<int64_t>(&cell)) return static_cast<double>(*i);
  if (auto* d = std::get_if<double>(&cell); d && std::isfinite(*d)) return *d;
  return std::nullopt;
}

}  // namespace tl::host::report
