// StatsStore: SQLite statements for adding, sampling and listing keys.
#include "host/stats_store.h"

#include <charconv>
#include <cmath>
#include <stdexcept>

namespace tl::host {

namespace {
constexpr char kSchema[] = R"(
  CREATE TABLE IF NOT EXISTS scalars (
    day TEXT NOT NULL, key TEXT NOT NULL, value NUMERIC NOT NULL, PRIMARY KEY (day, key));
  CREATE TABLE IF NOT EXISTS distributions (
    day TEXT NOT NULL, key TEXT NOT NULL, count INTEGER NOT NULL, sum REAL NOT NULL,
    min REAL NOT NULL, max REAL NOT NULL, PRIMARY KEY (day, key));
  CREATE TABLE IF NOT EXISTS activated_reports (
    id INTEGER PRIMARY KEY, day TEXT NOT NULL, at REAL NOT NULL);
  CREATE TABLE IF NOT EXISTS activated_apps (
    report INTEGER NOT NULL REFERENCES activated_reports (id), bundle_id TEXT NOT NULL,
    version TEXT NOT NULL, adam_id INTEGER NOT NULL, uuid TEXT NOT NULL, arch INTEGER NOT NULL);
)";
constexpr char kAdd[] =
    "INSERT INTO scalars (day, key, value) VALUES (?1, ?2, ?3) "
    "ON CONFLICT (day, key) DO UPDATE SET value = value + excluded.value";
constexpr char kPush[] =
    "INSERT INTO distributions (day, key, count, sum, min, max) VALUES (?1, ?2, 1, ?3, ?3, ?3) "
    "ON CONFLICT (day, key) DO UPDATE SET count = count + 1, sum = sum + excluded.sum, "
    "min = MIN(min, excluded.min), max = MAX(max, excluded.max)";

void Bind(sqlite3_stmt* statement, const std::string& day, std::string_view key) {
  sqlite3_bind_text(statement, 1, day.c_str(), static_cast<int>(day.size()), SQLITE_TRANSIENT);
  sqlite3_bind_text(statement, 2, key.data(), static_cast<int>(key.size()), SQLITE_TRANSIENT);
}

std::string ColumnNumber(sqlite3_stmt* statement, int column) {
  if (sqlite3_column_type(statement, column) == SQLITE_INTEGER) {
    return std::to_string(sqlite3_column_int64(statement, column));
  }
  return FormatNumber(sqlite3_column_double(statement, column));
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

StatsStore::StatsStore(const std::string& path) {
  if (sqlite3_open(path.c_str(), &db_) != SQLITE_OK) {
    std::string error = db_ ? sqlite3_errmsg(db_) : "out of memory";
    sqlite3_close(db_);
    db_ = nullptr;
    throw std::runtime_error("cannot open the store " + path + ": " + error);
  }
  sqlite3_busy_timeout(db_, 5000);
  exec("PRAGMA journal_mode = WAL");
  exec("PRAGMA synchronous = NORMAL");
  exec(kSchema);
  add_ = prepare(kAdd);
  push_ = prepare(kPush);
}

StatsStore::~StatsStore() {
  sqlite3_finalize(add_);
  sqlite3_finalize(push_);
  sqlite3_close(db_);
}

void StatsStore::exec(const char* sql) {
  char* error = nullptr;
  if (sqlite3_exec(db_, sql, nullptr, nullptr, &error) != SQLITE_OK) {
    std::string message = error ? error : "unknown error";
    sqlite3_free(error);
    throw std::runtime_error("store: " + message);
  }
}

sqlite3_stmt* StatsStore::prepare(const char* sql) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(db_, sql, -1, &statement, nullptr) != SQLITE_OK) {
    throw std::runtime_error(std::string("store: ") + sqlite3_errmsg(db_));
  }
  return statement;
}

void StatsStore::step(sqlite3_stmt* statement) {
  int rc = sqlite3_step(statement);
  sqlite3_reset(statement);
  if (rc != SQLITE_DONE) throw std::runtime_error(std::string("store: ") + sqlite3_errmsg(db_));
}

void StatsStore::addScalar(const std::string& day, std::string_view key, int64_t value) {
  Bind(add_, day, key);
  sqlite3_bind_int64(add_, 3, value);
  step(add_);
}

void StatsStore::addScalar(const std::string& day, std::string_view key, double value) {
  Bind(add_, day, key);
  sqlite3_bind_double(add_, 3, value);
  step(add_);
}

void StatsStore::pushSample(const std::string& day, std::string_view key, double value) {
  Bind(push_, day, key);
  sqlite3_bind_double(push_, 3, value);
  step(push_);
}

void StatsStore::addActivatedReport(const std::string& day, double at,
                                    const std::vector<ActivatedApp>& apps) {
  sqlite3_stmt* report = prepare("INSERT INTO activated_reports (day, at) VALUES (?1, ?2)");
  sqlite3_bind_text(report, 1, day.c_str(), static_cast<int>(day.size()), SQLITE_TRANSIENT);
  sqlite3_bind_double(report, 2, at);
  step(report);
  sqlite3_finalize(report);
  const sqlite3_int64 id = sqlite3_last_insert_rowid(db_);
  sqlite3_stmt* entry = prepare(
      "INSERT INTO activated_apps (report, bundle_id, version, adam_id, uuid, arch) "
      "VALUES (?1, ?2, ?3, ?4, ?5, ?6)");
  for (const ActivatedApp& app : apps) {
    sqlite3_bind_int64(entry, 1, id);
    sqlite3_bind_text(entry, 2, app.bundle.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_text(entry, 3, app.version.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_int64(entry, 4, app.adamId);
    sqlite3_bind_text(entry, 5, app.uuid.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_int64(entry, 6, app.arch);
    step(entry);
  }
  sqlite3_finalize(entry);
}

std::vector<std::string> StatsStore::activatedApplications() {
  sqlite3_stmt* list = prepare(
      "SELECT DISTINCT r.day, a.bundle_id, a.version FROM activated_apps a "
      "JOIN activated_reports r ON r.id = a.report ORDER BY 1, 2, 3");
  std::vector<std::string> lines;
  while (sqlite3_step(list) == SQLITE_ROW) {
    std::string line;
    for (int column = 0; column < 3; ++column) {
      if (column) line += ' ';
      line += reinterpret_cast<const char*>(sqlite3_column_text(list, column));
    }
    lines.push_back(std::move(line));
  }
  sqlite3_finalize(list);
  return lines;
}

void StatsStore::begin() { exec("BEGIN"); }

void StatsStore::commit() { exec("COMMIT"); }

std::vector<std::string> StatsStore::describe(const std::string& prefix) {
  constexpr char kList[] =
      "SELECT key, day, 0, value, 0, 0, 0 FROM scalars WHERE substr(key, 1, length(?1)) = ?1 "
      "UNION ALL SELECT key, day, 1, count, sum, min, max FROM distributions "
      "WHERE substr(key, 1, length(?1)) = ?1 ORDER BY 1, 2, 3";
  sqlite3_stmt* list = prepare(kList);
  sqlite3_bind_text(list, 1, prefix.c_str(), static_cast<int>(prefix.size()), SQLITE_TRANSIENT);
  std::vector<std::string> lines;
  while (sqlite3_step(list) == SQLITE_ROW) {
    std::string line = reinterpret_cast<const char*>(sqlite3_column_text(list, 0));
    line += ' ';
    line += reinterpret_cast<const char*>(sqlite3_column_text(list, 1));
    if (sqlite3_column_int(list, 2) == 0) {
      line += ' ' + ColumnNumber(list, 3);
    } else {
      line += " samples=" + ColumnNumber(list, 3) + " sum=" + ColumnNumber(list, 4) +
              " min=" + ColumnNumber(list, 5) + " max=" + ColumnNumber(list, 6);
    }
    lines.push_back(std::move(line));
  }
  sqlite3_finalize(list);
  return lines;
}

}  // namespace tl::host
