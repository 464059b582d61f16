// Reading a store: the read-only opening, the check and the listings.
#include "host/store/store_reading.h"

#include <algorithm>
#include <cstring>
#include <fstream>

#include "host/exit_codes.h"
#include "host/store/stats_store.h"

namespace tl::host {

std::string StoredNumber::text() const { return integer ? std::to_string(i) : FormatNumber(d); }

Database OpenStoreForReading(const std::string& path) {
  Database db(path, Database::Mode::kReadOnly);
  // SQLite reads the file only when asked, and then a file of another kind and a store locked
  // by a writer both fail the first query; the header tells them apart. An empty file is an
  // empty database, and no store either.
  char header[16] = {};
  std::ifstream(path, std::ios::binary).read(header, sizeof header);
  const bool isDatabase = std::memcmp(header, "SQLite format 3", sizeof header) == 0;
  if (!isDatabase || !db.hasTable("scalars") || !db.hasTable("distributions")) {
    throw CommandError(kExitBadInput, path + ": not a tallyd store");
  }
  // A damaged page may lie in a table or index that a listing reads only in part, which would
  // then end early without an error: the whole file is checked first. The check reads every
  // page once, a few milliseconds for a year of days.
  Statement check = db.prepare("PRAGMA quick_check(1)");
  const std::string verdict = check.row() ? check.columnText(0) : "no answer";
  if (verdict != "ok") {
    std::string said = verdict;
    std::replace(said.begin(), said.end(), '\n', ' ');
    throw CommandError(kExitBadInput, path + ": a damaged store: " + said);
  }
  return db;
}

namespace {

StoredNumber ColumnNumber(Statement& s, int column) {
  s.requireNumber(column);
  StoredNumber n;
  n.integer = s.columnType(column) == SQLITE_INTEGER;
  if (n.integer) {
    n.i = s.columnInt64(column);
  } else {
    n.d = s.columnDouble(column);
  }
  return n;
}

constexpr char kDayBounds[] = "(?2 = '' OR day >= ?2) AND (?3 = '' OR day <= ?3)";

}  // namespace

std::vector<KeyRow> ReadKeys(Database& db, const std::string& prefix, const DayRange& days) {
  const std::string where = std::string(" WHERE substr(key, 1, length(?1)) = ?1 AND ") + kDayBounds;
  Statement list =
      db.prepare(("SELECT key, day, 0, value, 0 AS sum, 0 AS min, 0 AS max FROM scalars" + where +
                  " UNION ALL SELECT key, day, 1, count, sum, min, max FROM distributions" + where +
                  " ORDER BY 1, 2, 3")
                     .c_str());
  list.bind(1, prefix).bind(2, days.from).bind(3, days.to);
  std::vector<KeyRow> rows;
  while (list.row()) {
    KeyRow row;
    row.key = list.columnText(0);
    row.day = list.columnText(1);
    row.distribution = list.columnInt64(2) != 0;
    if (row.distribution) {
      for (int column = 3; column <= 6; ++column) list.requireNumber(column);
      row.count = list.columnInt64(3);
      row.sum = list.columnDouble(4);
      row.min = list.columnDouble(5);
      row.max = list.columnDouble(6);
    } else {
      row.value = ColumnNumber(list, 3);
    }
    rows.push_back(std::move(row));
  }
  return rows;
}

std::vector<ActivatedRow> ReadActivated(Database& db, const DayRange& days) {
  std::vector<ActivatedRow> rows;
  if (!db.hasTable("activated_apps")) return rows;
  Statement list =
      db.prepare((std::string("SELECT DISTINCT r.day, a.bundle_id, a.version FROM activated_apps a "
                              "JOIN activated_reports r ON r.id = a.report WHERE ") +
                  kDayBounds + " ORDER BY 1, 2, 3")
                     .c_str());
  list.bind(2, days.from).bind(3, days.to);
  while (list.row()) rows.push_back({list.columnText(0), list.columnText(1), list.columnText(2)});
  return rows;
}

}  // namespace tl::host
