// StatsStore: the key tables, their upserts and their listing.
#include "host/stats_store.h"

#include <charconv>
#include <cmath>

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
    : db_(WithSchema(db)), add_(db_.prepare(kAdd)), push_(db_.prepare(kPush)) {}

void StatsStore::addScalar(std::string_view day, std::string_view key, int64_t value) {
  add_.bind(1, day).bind(2, key).bind(3, value).run();
}

void StatsStore::addScalar(std::string_view day, std::string_view key, double value) {
  add_.bind(1, day).bind(2, key).bind(3, value).run();
}

void StatsStore::pushSample(std::string_view day, std::string_view key, double value) {
  push_.bind(1, day).bind(2, key).bind(3, value).run();
}

}  // namespace tl::host
