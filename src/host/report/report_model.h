// The report's model: what a store says about each local day, gathered once into tables and the
// timeline, for every format to render.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/report/nights.h"
#include "host/report/report_table.h"
#include "host/report/report_timeline.h"
#include "host/report/summary.h"
#include "host/store/sqlite.h"
#include "host/store/store_reading.h"

namespace tl::host::report {

struct ReportOptions {
  DayRange days;
  std::vector<std::string> compare;  // days to set side by side; none: no comparison
  // Keep only the timeline points a page draws (PageSampler), once the nights are found: a
  // year's battery readings are most of a long report's memory.
  bool pageTimeline = false;
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
  std::vector<std::string> wakeReasons;  // the timeline's, each once; the first is none
  std::vector<Night> nights;             // of the days shown
  std::vector<DaySummary> summary;       // a day's answers in words, for the days shown
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
