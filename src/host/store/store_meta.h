// StoreMeta: what a store was filled from (time zone, trace, machine, versions), one value per
// name.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/store/sqlite.h"
#include "platform/value.h"

namespace tl::host {

// Names of the values every filler of a store sets.
inline constexpr char kMetaSource[] = "source";  // "replay" or "run"
inline constexpr char kMetaTimeZone[] = "time_zone";
inline constexpr char kMetaTraceStart[] = "trace_start";
inline constexpr char kMetaTrace[] = "trace";
inline constexpr char kMetaTraceHash[] = "trace_sha256";
inline constexpr char kMetaMachine[] = "machine";
inline constexpr char kMetaSystemVersion[] = "system_version";
inline constexpr char kMetaTallydVersion[] = "tallyd_version";
// Set once, when the store is first filled: the anonymous identifier its exports carry.
inline constexpr char kMetaDeviceId[] = "device_id";

// An identifier that stands for a device and tells nothing of it: the first 16 bytes of the
// SHA-256 of seed, as a UUID's text. The same seed always gives the same identifier.
std::string AnonymousDeviceId(std::string_view seed);

// A system version dictionary as one line: "NAME VERSION (BUILD)".
std::string SystemVersionText(const platform::Dictionary& version);

class StoreMeta {
 public:
  // Creates the table when db is writable and does not have it.
  explicit StoreMeta(Database& db);

  void set(std::string_view name, std::string_view value);
  std::optional<std::string> get(std::string_view name);
  // Every value, sorted by name.
  std::vector<std::pair<std::string, std::string>> all();

 private:
  Database& db_;
};

}  // namespace tl::host
