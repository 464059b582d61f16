// The report's model: what a store says about each local day, gathered once into tables and the
// timeline, for every format to render.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/report/report_table.h"
#include "host/store/sqlite.h"
#include "host/store/store_reading.h"

namespace tl::host::report {

struct ReportOptions {
  DayRange days;
  std::vector<std::string> compare;  // days to set side by side; none: no comparison
};

// A point of the timeline, as the daemon recorded it.
struct TimelinePoint {
  double at = 0;  // seconds since 1970
  int32_t utcOffset = 0;
  std::string event;
  std::optional<int> state;  // base-state bits after the event
  std::optional<double> level;
  std::optional<int64_t> thermal;
  std::optional<std::string> wakeReason;
};

// A stretch of time nobody recorded: the daemon was not running.
struct Stretch {
  double from = 0;
  double to = 0;
  std::string why;
  int32_t utcOffset = 0;  // of the device at its start
};

struct Report {
  std::string version;  // tallyd's
  std::vector<std::pair<std::string, std::string>> meta;
  std::string timeZone;
  std::vector<std::string> days;     // the local days shown, in order
  std::vector<double> midnights;     // each day's local midnight and the end of the last day
  std::vector<std::string> reading;  // how to read the report, a sentence a line
  std::vector<Table> tables;         // the views in order
  std::vector<TimelinePoint> timeline;
  std::vector<Stretch> notRecorded;
  // Days that hold data but are not shown (far from the others, or no calendar day), each with
  // how many values it holds.
  std::vector<std::pair<std::string, size_t>> outside;

  const Table* table(const std::string& name) const;
};

// Throws CommandError (usage) for a compare day the store does not hold.
Report BuildReport(Database& db, const ReportOptions& options);

// "2026-07-01 14:05" at a UTC offset.
std::string LocalClock(double at, int32_t utcOffset, bool seconds = false);

}  // namespace tl::host::report
