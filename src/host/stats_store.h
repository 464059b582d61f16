// StatsStore: the daemon's store of scalar and distribution keys, one row per key per local day.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/sqlite.h"

namespace tl::host {

// The tables of keys in a database that outlives the store.
class StatsStore {
 public:
  explicit StatsStore(Database& db);

  // Adds value to key's value of day.
  void addScalar(std::string_view day, std::string_view key, int64_t value);
  void addScalar(std::string_view day, std::string_view key, double value);
  // Records one sample of key on day: count, sum, min and max.
  void pushSample(std::string_view day, std::string_view key, double value);

 private:
  Database& db_;
  Statement add_;
  Statement push_;
};

// Shortest text that reads back as the same double; integers without a decimal point.
std::string FormatNumber(double value);

}  // namespace tl::host
