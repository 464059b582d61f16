// StatsStore: the daemon's SQLite store of scalar and distribution keys, one row per key per
// local day.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tl::host {

class StatsStore {
 public:
  // Opens (creating if needed) the store at path; throws std::runtime_error on failure.
  explicit StatsStore(const std::string& path);
  ~StatsStore();
  StatsStore(const StatsStore&) = delete;
  StatsStore& operator=(const StatsStore&) = delete;

  // Adds value to key's value of day.
  void addScalar(const std::string& day, std::string_view key, int64_t value);
  void addScalar(const std::string& day, std::string_view key, double value);
  // Records one sample of key on day: count, sum, min and max.
  void pushSample(const std::string& day, std::string_view key, double value);

  // One daily report of activated applications and its entries.
  struct ActivatedApp {
    std::string bundle;
    std::string version;
    int64_t adamId = 0;
    std::string uuid;
    int64_t arch = 0;
  };
  void addActivatedReport(const std::string& day, double at, const std::vector<ActivatedApp>& apps);
  // "DAY BUNDLE VERSION" for each application reported active on a day, sorted.
  std::vector<std::string> activatedApplications();

  // Groups the writes of one trace step into one transaction.
  void begin();
  void commit();

  // Every stored key whose name starts with prefix, sorted by key then day, one line each:
  // "KEY DAY VALUE" for a scalar, "KEY DAY samples=N sum=S min=A max=B" for a distribution.
  std::vector<std::string> describe(const std::string& prefix);

 private:
  void exec(const char* sql);
  void step(sqlite3_stmt* statement);
  sqlite3_stmt* prepare(const char* sql);

  sqlite3* db_ = nullptr;
  sqlite3_stmt* add_ = nullptr;
  sqlite3_stmt* push_ = nullptr;
};

// Shortest text that reads back as the same double; integers without a decimal point.
std::string FormatNumber(double value);

}  // namespace tl::host
