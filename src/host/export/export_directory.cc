// tallyd export: the report of the days asked for, streamed into one file per table.
#include "host/export/export_directory.h"

#include <filesystem>
#include <fstream>
#include <system_error>
#include <vector>

#include "host/exit_codes.h"
#include "host/export/export_tables.h"
#include "host/report/report_model.h"
#include "host/store/store_meta.h"

namespace tl::host::exporting {

namespace fs = std::filesystem;

std::string StoreDeviceId(Database& db) {
  StoreMeta meta(db);
  if (auto id = meta.get(kMetaDeviceId)) return *id;
  std::string seed = "store";
  for (const char* name : {kMetaSource, kMetaTraceStart, kMetaMachine, kMetaTraceHash}) {
    seed += " " + meta.get(name).value_or("");
  }
  return AnonymousDeviceId(seed);
}

ExportResult ExportDirectory(Database& db, const ExportOptions& options) {
  report::ReportOptions reportOptions;
  reportOptions.days = options.days;
  const report::Report report = report::BuildReport(db, reportOptions);
  if (report.days.empty()) {
    const std::string range = (options.days.from.empty() ? "the first day" : options.days.from) +
                              " to " + (options.days.to.empty() ? "the last day" : options.days.to);
    throw CommandError(kExitUsage, "the store holds nothing from " + range);
  }
  ExportResult result;
  result.deviceId = options.deviceId.empty() ? StoreDeviceId(db) : options.deviceId;
  result.days = report.days.size();

  const fs::path directory(options.directory);
  auto cannotWrite = [&](const fs::path& path) {
    return CommandError(kExitReadWrite, path.string() + ": cannot write the export");
  };
  std::error_code error;
  fs::create_directories(directory, error);
  if (error) throw cannotWrite(directory);
  auto partial = [&](const std::string& name) { return directory / ("." + name + ".jsonl.part"); };

  std::vector<std::string> written;
  std::ofstream out;
  auto finish = [&]() {
    if (written.empty()) return;
    out.close();
    if (!out) throw cannotWrite(partial(written.back()));
  };
  auto open = [&](const std::string& name) {
    finish();
    written.push_back(name);
    result.rows[name] = 0;
    out.open(partial(name), std::ios::binary | std::ios::trunc);
    if (!out) throw cannotWrite(partial(name));
  };
  try {
    ExportRows(report, result.deviceId,
               [&](const std::string& table, const nlohmann::ordered_json& row) {
                 if (written.empty() || written.back() != table) open(table);
                 out << row.dump() << '\n';
                 ++result.rows[table];
               });
    // A table without rows is an empty file, so that a loader finds every table.
    for (const std::string& name : ExportTableNames()) {
      if (!result.rows.count(name)) open(name);
    }
    finish();
    for (const std::string& name : written) {
      fs::rename(partial(name), directory / (name + ".jsonl"), error);
      if (error) throw cannotWrite(directory / (name + ".jsonl"));
    }
  } catch (...) {
    for (const std::string& name : written) fs::remove(partial(name), error);
    throw;
  }
  return result;
}

}  // namespace tl::host::exporting
