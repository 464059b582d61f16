// StatsStore: the key tables, the day's rows kept in memory, and their writing.
#include "host/store/stats_store.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace tl::host {

namespace {

constexpr char kSchema[] = R"(
  CREATE TABLE IF NOT EXISTS scalars (
    day TEXT NOT NULL, key TEXT NOT NULL, value NUMERIC NOT NULL, PRIMARY KEY (day, key));
  CREATE TABLE IF NOT EXISTS distributions (
    day TEXT NOT NULL, key TEXT NOT NULL, count INTEGER NOT NULL, sum REAL NOT NULL,
    min REAL NOT NULL, max REAL NOT NULL, PRIMARY KEY (day, key));
)";
constexpr char kAdd[] =
    "INSERT INTO scalars (day, key, value) VALUES (?1, ?2, ?3) "
    "ON CONFLICT (day, key) DO UPDATE SET value = value + excluded.value";
constexpr char kPush[] =
    "INSERT INTO distributions (day, key, count, sum, min, max) VALUES (?1, ?2, 1, ?3, ?3, ?3) "
    "ON CONFLICT (day, key) DO UPDATE SET count = count + 1, sum = sum + excluded.sum, "
    "min = MIN(min, excluded.min), max = MAX(max, excluded.max)";
constexpr char kReadScalar[] = "SELECT value FROM scalars WHERE day = ?1 AND key = ?2";
constexpr char kReadSample[] =
    "SELECT count, sum, min, max FROM distributions WHERE day = ?1 AND key = ?2";
constexpr char kWriteScalar[] =
    "INSERT INTO scalars (day, key, value) VALUES (?1, ?2, ?3) "
    "ON CONFLICT (day, key) DO UPDATE SET value = excluded.value";
constexpr char kWriteSample[] =
    "INSERT INTO distributions (day, key, count, sum, min, max) VALUES (?1, ?2, ?3, ?4, ?5, ?6) "
    "ON CONFLICT (day, key) DO UPDATE SET count = excluded.count, sum = excluded.sum, "
    "min = excluded.min, max = excluded.max";

Database& WithSchema(Database& db) {
  db.exec(kSchema);
  return db;
}

}  // namespace

std::string FormatNumber(double value) {
  if (std::isfinite(value) && value == std::trunc(value) && std::fabs(value) < 1e15) {
    return std::to_string(static_cast<int64_t>(value));
  }
  char text[32];
  auto result = std::to_chars(text, text + sizeof text, value);
  return std::string(text, result.ptr);
}

StatsStore::StatsStore(Database& db)
    : db_(WithSchema(db)),
      add_(db_.prepare(kAdd)),
      push_(db_.prepare(kPush)),
      readScalar_(db_.prepare(kReadScalar)),
      readSample_(db_.prepare(kReadSample)),
      writeScalar_(db_.prepare(kWriteScalar)),
      writeSample_(db_.prepare(kWriteSample)) {}

namespace {

// What a NUMERIC column makes of a REAL: an INTEGER when it is one exactly (so -0.0 becomes 0).
bool AsInteger(double r, int64_t* i) {
  constexpr double kTwo63 = 9223372036854775808.0;
  if (!(r > -kTwo63 && r < kTwo63)) return false;
  const auto whole = static_cast<int64_t>(r);
  if (static_cast<double>(whole) != r || whole == std::numeric_limits<int64_t>::min()) {
    return false;
  }
  *i = whole;
  return true;
}

}  // namespace

void StatsStore::useDay(std::string_view day) {
  if (day == day_) return;
  flush();
  scalars_.clear();
  recent_.clear();
  samples_.clear();
  day_ = day;
}

StatsStore::ScalarRow*& StatsStore::recentScalar(std::string_view key) {
  return recent_.find(key.data()).row;
}

StatsStore::ScalarRow* StatsStore::cachedScalar(std::string_view key) {
  ScalarRow*& recent = recentScalar(key);
  if (recent && recent->first == key) return recent;
  if (auto found = scalars_.find(key); found != scalars_.end()) return recent = &*found;
  readScalar_.bind(1, day_).bind(2, key);
  if (!readScalar_.row()) return nullptr;
  Scalar row;
  if (readScalar_.columnType(0) == SQLITE_INTEGER) {
    row.value.i = readScalar_.columnInt64(0);
  } else {
    row.value.integer = false;
    row.value.r = readScalar_.columnDouble(0);
  }
  readScalar_.row();  // the one row: steps to the end, which resets the statement
  return recent = &*scalars_.emplace(key, row).first;
}

StatsStore::Sample* StatsStore::cachedSample(std::string_view key) {
  if (auto found = samples_.find(key); found != samples_.end()) return &found->second;
  readSample_.bind(1, day_).bind(2, key);
  if (!readSample_.row()) return nullptr;
  Sample row;
  row.count = readSample_.columnInt64(0);
  row.sum = readSample_.columnDouble(1);
  row.min = readSample_.columnDouble(2);
  row.max = readSample_.columnDouble(3);
  readSample_.row();
  return &samples_.emplace(key, row).first->second;
}

void StatsStore::addScalar(std::string_view day, std::string_view key, int64_t value) {
  useDay(day);
  addScalar(key, value);
}

void StatsStore::addScalar(std::string_view day, std::string_view key, double value) {
  useDay(day);
  addScalar(key, value);
}

void StatsStore::addScalar(std::string_view key, int64_t value) {
  add(key, Number{true, value, 0});
}

void StatsStore::addScalar(std::string_view key, double value) {
  Number number{false, 0, value};
  if (AsInteger(value, &number.i)) number.integer = true;
  add(key, number);
}

void StatsStore::add(std::string_view key, Number value) {
  ScalarRow* found = cachedScalar(key);
  if (!found) {
    if (!value.integer && !std::isfinite(value.r)) return addInSql(key, value);
    ScalarRow* made = &*scalars_.emplace(key, Scalar{value, true}).first;
    recentScalar(key) = made;
    changed_.push_back({&made->first, &made->second, nullptr});
    return;
  }
  Scalar* row = &found->second;
  Number sum;
  if (row->value.integer && value.integer &&
      !__builtin_add_overflow(row->value.i, value.i, &sum.i)) {
    // Integers add as integers while they fit.
  } else {
    const double a = row->value.integer ? static_cast<double>(row->value.i) : row->value.r;
    const double b = value.integer ? static_cast<double>(value.i) : value.r;
    sum.r = a + b;
    sum.integer = AsInteger(sum.r, &sum.i);
    if (!std::isfinite(sum.r)) return addInSql(key, value);
  }
  if (sum.integer == row->value.integer &&
      (sum.integer ? sum.i == row->value.i : sum.r == row->value.r)) {
    return;  // adding 0 changes nothing
  }
  row->value = sum;
  if (!row->dirty) {
    row->dirty = true;
    changed_.push_back({&found->first, row, nullptr});
  }
}

void StatsStore::addInSql(std::string_view key, Number value) {
  // Infinities and NaN (which SQLite stores as NULL and refuses) are SQLite's to add: what is
  // kept goes out first, in order, and the row is read anew when next used.
  flush();
  if (auto found = scalars_.find(key); found != scalars_.end()) {
    scalars_.erase(found);
    recent_.clear();
  }
  add_.bind(1, day_).bind(2, key);
  if (value.integer) {
    add_.bind(3, value.i);
  } else {
    add_.bind(3, value.r);
  }
  add_.run();
}

void StatsStore::pushSample(std::string_view day, std::string_view key, double value) {
  useDay(day);
  pushSample(key, value);
}

void StatsStore::pushSample(std::string_view key, double value) {
  Sample* row = cachedSample(key);
  const double v = value;
  if (!row) {
    if (!std::isfinite(value)) return pushInSql(key, value);
    auto made = samples_.emplace(key, Sample{1, v, v, v, true}).first;
    changed_.push_back({&made->first, nullptr, &made->second});
    return;
  }
  const double sum = row->sum + v;
  if (!std::isfinite(sum) || !std::isfinite(row->min) || !std::isfinite(row->max)) {
    return pushInSql(key, value);
  }
  row->count += 1;
  row->sum = sum;
  if (v < row->min) row->min = v;
  if (v > row->max) row->max = v;
  if (!row->dirty) {
    row->dirty = true;
    changed_.push_back({&samples_.find(key)->first, nullptr, row});
  }
}

void StatsStore::pushInSql(std::string_view key, double value) {
  flush();
  if (auto found = samples_.find(key); found != samples_.end()) samples_.erase(found);
  push_.bind(1, day_).bind(2, key).bind(3, value).run();
}

void StatsStore::writeScalar(std::string_view key, const Scalar& row) {
  writeScalar_.bind(1, day_).bind(2, key);
  if (row.value.integer) {
    writeScalar_.bind(3, row.value.i);
  } else {
    writeScalar_.bind(3, row.value.r);
  }
  writeScalar_.run();
}

void StatsStore::writeSample(std::string_view key, const Sample& row) {
  writeSample_.bind(1, day_).bind(2, key).bind(3, row.count).bind(4, row.sum).bind(5, row.min);
  writeSample_.bind(6, row.max).run();
}

void StatsStore::flush() {
  for (const Changed& changed : changed_) {
    if (changed.scalar) {
      writeScalar(*changed.key, *changed.scalar);
      changed.scalar->dirty = false;
    } else {
      writeSample(*changed.key, *changed.sample);
      changed.sample->dirty = false;
    }
  }
  changed_.clear();
}

void StatsStore::forget() {
  scalars_.clear();
  recent_.clear();
  samples_.clear();
  changed_.clear();
}

}  // namespace tl::host
