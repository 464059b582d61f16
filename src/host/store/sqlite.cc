// Database and Statement: opening, preparing, binding and stepping.
#include "host/store/sqlite.h"

#include <sys/stat.h>

#include <cmath>
#include <new>

#include "host/exit_codes.h"

namespace tl::host {

namespace {
[[noreturn]] void Fail(sqlite3* db) {
  const char* file = sqlite3_db_filename(db, "main");
  throw CommandError(kExitReadWrite,
                     std::string(file && *file ? file : "the store") + ": " + sqlite3_errmsg(db));
}
}  // namespace

Statement::Statement(sqlite3* db, const char* sql) : db_(db) {
  sqlite3_stmt* statement = nullptr;
  const int rc = sqlite3_prepare_v2(db, sql, -1, &statement, nullptr);
  statement_.reset(statement);
  if (rc != SQLITE_OK) Fail(db);
}

Statement& Statement::bind(int index, std::string_view text) {
  // An empty view may have no data at all: it is still text, never NULL.
  sqlite3_bind_text(statement_.get(), index, text.data() ? text.data() : "",
                    static_cast<int>(text.size()), SQLITE_TRANSIENT);
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

Statement& Statement::bindNull(int index) {
  sqlite3_bind_null(statement_.get(), index);
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

void Statement::requireValue(int column) {
  if (columnType(column) != SQLITE_NULL) return;
  // The columns a store fills are NOT NULL: a NULL means a store made or changed by something
  // else, and an empty text or a 0 in its place would mislead.
  const char* file = sqlite3_db_filename(db_, "main");
  throw CommandError(kExitBadInput, std::string(file && *file ? file : "the store") +
                                        ": a damaged store: a missing value in column " +
                                        sqlite3_column_name(statement_.get(), column));
}

void Statement::requireNumber(int column) {
  requireValue(column);
  const int type = columnType(column);
  std::string what;
  if (type != SQLITE_INTEGER && type != SQLITE_FLOAT) {
    what = type == SQLITE_TEXT ? "a text" : "a blob";
  } else if (type == SQLITE_FLOAT && !(std::fabs(columnDouble(column)) <= kLargestStoredNumber)) {
    what = "a number out of range";
  } else {
    return;
  }
  const char* file = sqlite3_db_filename(db_, "main");
  throw CommandError(kExitBadInput, std::string(file && *file ? file : "the store") +
                                        ": a damaged store: " + what + " where a number belongs " +
                                        "in column " +
                                        sqlite3_column_name(statement_.get(), column));
}

std::string Statement::columnText(int column) {
  requireValue(column);
  const unsigned char* text = sqlite3_column_text(statement_.get(), column);
  if (!text) throw std::bad_alloc();
  // Text may hold NUL bytes (a bundle identifier can): its length is what SQLite says.
  return std::string(reinterpret_cast<const char*>(text),
                     static_cast<size_t>(sqlite3_column_bytes(statement_.get(), column)));
}

Database::Database(const std::string& path, Mode mode) : path_(path) {
  if (mode == Mode::kReadOnly) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) {
      throw CommandError(kExitReadWrite, path + ": no such store");
    }
    if (!S_ISREG(info.st_mode)) throw CommandError(kExitReadWrite, path + ": not a file");
  }
  if (mode == Mode::kReadOnly) {
    open(SQLITE_OPEN_READONLY);
    // A writer killed inside a transaction leaves a journal that must be rolled back before
    // anyone can read, and a read-only connection may not do it. Only then does a reader open
    // for writing, to let SQLite restore the last committed state; it still writes nothing of
    // its own.
    if (!readsSchema()) {
      open(SQLITE_OPEN_READWRITE);
      exec("PRAGMA query_only = ON");
      readsSchema();
    }
    return;
  }
  open(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  // The daemon's stores are written a step at a time: write-ahead logging keeps each step's
  // transaction cheap, and synchronous NORMAL loses at most the last steps in a power cut.
  exec("PRAGMA journal_mode = WAL");
  exec("PRAGMA synchronous = NORMAL");
}

void Database::open(int flags) {
  db_.reset();
  sqlite3* db = nullptr;
  const int rc = sqlite3_open_v2(path_.c_str(), &db, flags, nullptr);
  db_.reset(db);
  if (rc != SQLITE_OK) {
    throw CommandError(kExitReadWrite, path_ + ": cannot open the store: " +
                                           (db ? sqlite3_errmsg(db) : "out of memory"));
  }
  sqlite3_busy_timeout(db, 5000);
}

bool Database::readsSchema() {
  const int rc =
      sqlite3_exec(db_.get(), "SELECT count(*) FROM sqlite_master", nullptr, nullptr, nullptr);
  if (rc == SQLITE_OK) return true;
  // Any other failure (a file of another kind, a busy store) is the caller's to report.
  const int why = sqlite3_extended_errcode(db_.get());
  return why != SQLITE_READONLY_ROLLBACK && why != SQLITE_READONLY_RECOVERY;
}

void Database::exec(const char* sql) {
  char* error = nullptr;
  if (sqlite3_exec(db_.get(), sql, nullptr, nullptr, &error) != SQLITE_OK) {
    std::string message = error ? error : "unknown error";
    sqlite3_free(error);
    throw CommandError(kExitReadWrite, path_ + ": " + message);
  }
}

bool Database::hasTable(const char* name) {
  Statement find = prepare("SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = ?1");
  find.bind(1, std::string_view(name));
  const bool found = find.row();
  if (found) find.row();  // steps to the end, which resets the statement
  return found;
}

}  // namespace tl::host
