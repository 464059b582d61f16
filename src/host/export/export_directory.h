// tallyd export: a store's days written to a directory, one JSON Lines file per table.
#pragma once

#include <cstddef>
#include <map>
#include <string>

#include "host/store/sqlite.h"
#include "host/store/store_reading.h"

namespace tl::host::exporting {

struct ExportOptions {
  DayRange days;
  std::string deviceId;  // empty: the store's own anonymous identifier
  std::string directory;
};

struct ExportResult {
  std::string deviceId;
  size_t days = 0;
  std::map<std::string, size_t> rows;  // by table
};

// Throws CommandError: usage for a range of days the store holds nothing of, read/write for a
// directory that cannot be written. The files appear whole or not at all: each is written
// beside its place and renamed into it once every table is written.
ExportResult ExportDirectory(Database& db, const ExportOptions& options);

// The identifier a store's exports carry: the one its filler gave it, or for a store older than
// that, one derived from what it was filled from.
std::string StoreDeviceId(Database& db);

}  // namespace tl::host::exporting
