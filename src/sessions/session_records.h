// The two record formats of the session records, written and read back in one place: the event
// record and the bundle record.
#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "platform/value.h"

namespace tl::sessions {

// A record is one line: its text, then one line feed. The line feed is no part of the record's
// text, and no record's text holds one (numbers never do; JSON escapes every control character).
inline constexpr char kRecordEnd = '\n';
// A line as read back (the last one of a file may lack its line feed), without the line feed.
std::string_view RecordText(std::string_view line);

// The event record "%u %u %u %u\n": the bundle record key, the state, the duration and the end
// time, decimal, one blank apart.
struct EventRecord {
  uint32_t key = 0;
  uint32_t state = 0;
  uint32_t duration = 0;
  uint32_t endtime = 0;
};
// Four ten-digit numbers, three blanks and the line feed.
inline constexpr size_t kMaxEventRecordLine = 4 * 10 + 3 + 1;
// Writes the record's line, line feed included, into line; its length.
size_t FormatEventRecord(const EventRecord& record, char (&line)[kMaxEventRecordLine]);
// The record of a line read back: exactly four unsigned 32-bit decimal numbers separated by
// blanks; nullopt for anything else (a missing or fifth field, a sign, a number beyond 32 bits).
std::optional<EventRecord> ParseEventRecord(std::string_view line);

// The bundle record: a JSON array (the 11 elements of TLBundleSession::recordArray), compact, on
// one line. Its text, without the line feed; nullopt when the array cannot be serialised.
std::optional<std::string> FormatBundleRecord(const nlohmann::json& array);
// The JSON value of a line read back; a discarded value when it is not JSON.
nlohmann::json ParseBundleRecord(std::string_view line);
// A store number as a record element: as it came, 0 when absent.
nlohmann::json RecordNumber(const std::optional<tl::platform::Value>& number);

}  // namespace tl::sessions
