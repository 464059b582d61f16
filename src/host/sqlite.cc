// Database and Statement: opening, preparing, binding and stepping.
#include "host/sqlite.h"

#include <stdexcept>

namespace tl::host {

namespace {
[[noreturn]] void Fail(sqlite3* db) {
  throw std::runtime_error(std::string("store: ") + sqlite3_errmsg(db));
}
}  // namespace

Statement::Statement(sqlite3* db, const char* sql) : db_(db) {
  sqlite3_stmt* statement = nullptr;
  const int rc = sqlite3_prepare_v2(db, sql, -1, &statement, nullptr);
  statement_.reset(statement);
  if (rc != SQLITE_OK) Fail(db);
}

Statement& Statement::bind(int index, std::string_view text) {
  sqlite3_bind_text(statement_.get(), index, text.data(), static_cast<int>(text.size()),
                    SQLITE_TRANSIENT);
  return *this;
}

Statement& Statement::bind(int index, int64_t value) {
  sqlite3_bind_int64(statement_.get(), index, value);
  return *this;
}

Statement& Statement::bind(int index, double value) {
  sqlite3_bind_double(statement_.get(), index, value);
  return *this;
}

void Statement::run() {
  const int rc = sqlite3_step(statement_.get());
  sqlite3_reset(statement_.get());
  if (rc != SQLITE_DONE) Fail(db_);
}

bool Statement::row() {
  const int rc = sqlite3_step(statement_.get());
  if (rc == SQLITE_ROW) return true;
  sqlite3_reset(statement_.get());
  if (rc != SQLITE_DONE) Fail(db_);
  return false;
}

std::string Statement::columnText(int column) {
  const unsigned char* text = sqlite3_column_text(statement_.get(), column);
  return text ? std::string(reinterpret_cast<const char*>(text)) : std::string();
}

Database::Database(const std::string& path) {
  sqlite3* db = nullptr;
  const int rc = sqlite3_open(path.c_str(), &db);
  db_.reset(db);
  if (rc != SQLITE_OK) {
    throw std::runtime_error("cannot open the store " + path + ": " +
                             (db ? sqlite3_errmsg(db) : "out of memory"));
  }
  sqlite3_busy_timeout(db, 5000);
  // The daemon's stores are written a step at a time: write-ahead logging keeps each step's
  // transaction cheap, and synchronous NORMAL loses at most the last steps in a power cut.
  exec("PRAGMA journal_mode = WAL");
  exec("PRAGMA synchronous = NORMAL");
}

void Database::exec(const char* sql) {
  char* error = nullptr;
  if (sqlite3_exec(db_.get(), sql, nullptr, nullptr, &error) != SQLITE_OK) {
    std::string message = error ? error : "unknown error";
    sqlite3_free(error);
    throw std::runtime_error("store: " + message);
  }
}

}  // namespace tl::host
