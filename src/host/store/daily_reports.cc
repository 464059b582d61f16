// DailyReports: the report tables, their rows and their listing.
#include "host/store/daily_reports.h"

namespace tl::host {

namespace {
constexpr char kSchema[] = R"(
  CREATE TABLE IF NOT EXISTS activated_reports (
    id INTEGER PRIMARY KEY, day TEXT NOT NULL, at REAL NOT NULL);
  CREATE TABLE IF NOT EXISTS activated_apps (
    report INTEGER NOT NULL REFERENCES activated_reports (id), bundle_id TEXT NOT NULL,
    version TEXT NOT NULL, adam_id INTEGER NOT NULL, uuid TEXT NOT NULL, arch INTEGER NOT NULL);
)";
}  // namespace

DailyReports::DailyReports(Database& db) : db_(db) { db_.exec(kSchema); }

void DailyReports::addActivatedReport(std::string_view day, double at,
                                      const std::vector<ActivatedApp>& apps) {
  db_.prepare("INSERT INTO activated_reports (day, at) VALUES (?1, ?2)")
      .bind(1, day)
      .bind(2, at)
      .run();
  const int64_t report = db_.lastInsertRowid();
  Statement entry = db_.prepare(
      "INSERT INTO activated_apps (report, bundle_id, version, adam_id, uuid, arch) "
      "VALUES (?1, ?2, ?3, ?4, ?5, ?6)");
  for (const ActivatedApp& app : apps) {
    entry.bind(1, report)
        .bind(2, app.bundle)
        .bind(3, app.version)
        .bind(4, app.adamId)
        .bind(5, app.uuid)
        .bind(6, app.arch)
        .run();
  }
}

}  // namespace tl::host
