// Reading a store: opened read-only and checked to be a store, its keys and its reports by day.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/store/sqlite.h"

namespace tl::host {

// Opens the store at path read-only. Throws CommandError naming the file when it does not exist
// (cannot read) or is not a store (bad input); never creates one.
Database OpenStoreForReading(const std::string& path);

// Days are local days "YYYY-MM-DD"; an empty bound is open.
struct DayRange {
  std::string from;
  std::string to;
  bool contains(const std::string& day) const {
    return (from.empty() || day >= from) && (to.empty() || day <= to);
  }
};

// A stored number as it was stored: integers stay integers.
struct StoredNumber {
  bool integer = true;
  int64_t i = 0;
  double d = 0;
  double value() const { return integer ? static_cast<double>(i) : d; }
  std::string text() const;
};

struct KeyRow {
  std::string key;
  std::string day;
  bool distribution = false;
  StoredNumber value;  // a scalar's value
  int64_t count = 0;   // a distribution's samples
  double sum = 0, min = 0, max = 0;
};
// Keys starting with prefix within days, sorted by key, then day, scalars before samples.
std::vector<KeyRow> ReadKeys(Database& db, const std::string& prefix, const DayRange& days);

struct ActivatedRow {
  std::string day;
  std::string bundle;
  std::string version;
};
// The applications the daily reports named active, once per day, bundle and version, sorted.
std::vector<ActivatedRow> ReadActivated(Database& db, const DayRange& days);

}  // namespace tl::host
