// DailyReports: the messages the module sends to the daemon's daily-report service, one row per
// report with its entries.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/store/sqlite.h"

namespace tl::host {

// The report tables in a database that outlives this object.
class DailyReports {
 public:
  explicit DailyReports(Database& db);

  // One report of activated applications.
  struct ActivatedApp {
    std::string bundle;
    std::string version;
    int64_t adamId = 0;
    std::string uuid;
    int64_t arch = 0;
  };
  // at is the wall-clock moment the report was sent, seconds since 1970.
  void addActivatedReport(std::string_view day, double at, const std::vector<ActivatedApp>& apps);

 private:
  Database& db_;
};

}  // namespace tl::host
