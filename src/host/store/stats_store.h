// StatsStore: the daemon's store of scalar and distribution keys, one row per key per local day.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/address_cache.h"
#include "host/store/sqlite.h"

namespace tl::host {

// The tables of keys in a database that outlives the store.
//
// A power commit adds to sixty keys at once, most of them 0, many times an hour. So the rows of
// the current local day are kept in memory as SQLite would compute them, and only the rows that
// changed go out, each in one statement, at flush(). What the tables end up holding is exactly
// what adding row by row in SQL would hold: the arithmetic follows SQLite's (an integer sum
// stays an integer until it overflows, a whole REAL in the value column is kept as an INTEGER),
// and whatever the cache does not model (a value that is not finite) goes to SQLite itself.
class StatsStore {
 public:
  explicit StatsStore(Database& db);
  StatsStore(const StatsStore&) = delete;
  StatsStore& operator=(const StatsStore&) = delete;

  // Moves the store to day, writing the previous day's changes first. A batch of keys folds
  // into one day, so its caller names the day once and adds without one.
  void useDay(std::string_view day);
  // Adds value to key's value of day (of the day in use, when none is named).
  void addScalar(std::string_view day, std::string_view key, int64_t value);
  void addScalar(std::string_view day, std::string_view key, double value);
  void addScalar(std::string_view key, int64_t value);
  void addScalar(std::string_view key, double value);
  // Records one sample of key on day (of the day in use): count, sum, min and max.
  void pushSample(std::string_view day, std::string_view key, double value);
  void pushSample(std::string_view key, double value);

  // Writes every row changed since the last flush, in the order the rows were first changed (new
  // rows get the row ids adding one by one would have given them). Call it inside the
  // transaction that is to hold the changes, before its COMMIT.
  void flush();
  // Forgets the rows kept in memory, after a transaction that held changes was rolled back.
  void forget();

 private:
  // A number as SQLite keeps it in a NUMERIC column: an INTEGER or a REAL.
  struct Number {
    bool integer = true;
    int64_t i = 0;
    double r = 0;
  };
  struct Scalar {
    Number value;
    bool dirty = false;
  };
  struct Sample {
    int64_t count = 0;
    double sum = 0, min = 0, max = 0;
    bool dirty = false;
  };
  struct Hash {
    using is_transparent = void;
    size_t operator()(std::string_view key) const { return std::hash<std::string_view>()(key); }
  };
  template <class Row>
  using Rows = std::unordered_map<std::string, Row, Hash, std::equal_to<>>;
  using ScalarRow = Rows<Scalar>::value_type;

  // Where a key's row was last found, by the address of the key's text: a power commit hands
  // over the same sixty keys from the same place again and again, and comparing their bytes costs
  // less than hashing them. The bytes are always compared, so a key text at an address used
  // before is still found right; emptied whenever a row leaves the map.
  struct RecentScalar {
    const char* text = nullptr;
    ScalarRow* row = nullptr;
  };

  // One row changed since the last flush: a scalar row or a sample row, never both.
  struct Changed {
    const std::string* key;
    Scalar* scalar;
    Sample* sample;
  };

  void add(std::string_view key, Number value);
  // What the cache does not model, added by SQLite itself.
  void addInSql(std::string_view key, Number value);
  void pushInSql(std::string_view key, double value);
  // The day's cached row of key, read from the table the first time (nullptr when the table has
  // no row yet: the caller makes one).
  ScalarRow* cachedScalar(std::string_view key);
  ScalarRow*& recentScalar(std::string_view key);
  Sample* cachedSample(std::string_view key);
  void writeScalar(std::string_view key, const Scalar& row);
  void writeSample(std::string_view key, const Sample& row);

  Database& db_;
  Statement add_;
  Statement push_;
  Statement readScalar_;
  Statement readSample_;
  Statement writeScalar_;
  Statement writeSample_;
  std::string day_;
  Rows<Scalar> scalars_;
  AddressCache<RecentScalar, 1024> recent_;
  Rows<Sample> samples_;
  // The rows changed since the last flush, in the order of their first change (the maps' nodes
  // stay where they are, so the pointers hold).
  std::vector<Changed> changed_;
};

// Shortest text that reads back as the same double; integers without a decimal point.
std::string FormatNumber(double value);

}  // namespace tl::host
