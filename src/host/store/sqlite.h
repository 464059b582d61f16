// Database and Statement: SQLite connections and prepared statements owned by RAII handles.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace tl::host {

// A prepared statement; finalized on destruction. Failures throw CommandError (cannot read or
// write) naming the database file and SQLite's reason.
class Statement {
 public:
  Statement(sqlite3* db, const char* sql);

  Statement& bind(int index, std::string_view text);
  Statement& bind(int index, int64_t value);
  Statement& bind(int index, double value);
  Statement& bindNull(int index);
  // Runs a statement that returns no rows, then resets it for the next use.
  void run();
  // Steps to the next row; false when there is none (and resets the statement).
  bool row();

  int columnType(int column) { return sqlite3_column_type(statement_.get(), column); }
  int64_t columnInt64(int column) { return sqlite3_column_int64(statement_.get(), column); }
  double columnDouble(int column) { return sqlite3_column_double(statement_.get(), column); }
  // Throws CommandError (bad input) when the column is NULL, which no NOT NULL column of a store
  // holds unless something else made or changed it.
  void requireValue(int column);
  // A column that must hold a number: a NULL, a text or a blob, or a magnitude beyond
  // kLargestStoredNumber throws CommandError (bad input), naming the column. Check columnType()
  // first where NULL is valid.
  void requireNumber(int column);
  double columnNumber(int column) {
    requireNumber(column);
    return columnDouble(column);
  }
  // The text of a column, whole; a NULL throws as in requireValue. Check columnType() first
  // where NULL is valid.
  std::string columnText(int column);

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  sqlite3* db_;
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

// No value tallyd stores comes near it; a sum of two such would be infinite.
inline constexpr double kLargestStoredNumber = 1e300;

// An open SQLite database; closed on destruction.
class Database {
 public:
  enum class Mode { kWrite, kReadOnly };
  // Opens the database at path: for writing (created if needed, with write-ahead logging), or
  // read-only (never created). Throws CommandError naming the file when it cannot be opened.
  explicit Database(const std::string& path, Mode mode = Mode::kWrite);

  void exec(const char* sql);
  Statement prepare(const char* sql) { return Statement(db_.get(), sql); }
  int64_t lastInsertRowid() { return sqlite3_last_insert_rowid(db_.get()); }
  bool hasTable(const char* name);
  const std::string& path() const { return path_; }

 private:
  struct Close {
    void operator()(sqlite3* db) const { sqlite3_close(db); }
  };
  void open(int flags);
  // False when the schema cannot be read until a writer recovers the store.
  bool readsSchema();
  std::string path_;
  std::unique_ptr<sqlite3, Close> db_;
};

}  // namespace tl::host
