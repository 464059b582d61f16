// TLSessionPersistenceManager: the two append-only record files that keep sessions across a
// restart of the daemon, and the numbering of bundle records.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

// Class operations only. Everything runs on the session queue, which is why the open handles and
// the key counter need no lock.
class TLSessionPersistenceManager {
 public:
  static constexpr char kEventLogPath[] = "/var/mobile/Library/Tallyline/session_events.log";
  static constexpr char kBundleLogPath[] = "/var/mobile/Library/Tallyline/session_bundles.log";

  // Receives each line with its line feed (the last one may lack it) and may set *stop to end
  // the reading after that line.
  using LineBlock = std::function<void(std::string_view line, bool* stop)>;

  // The next bundle record key: 1 for the first of a process or of a new bundle record file.
  static uint32_t uniqueKey();
  // Removes the event record file and, with bundleLog, the bundle record file too (and then the
  // keys start again at 1).
  static void truncateEventLogWithBundleLog(bool bundleLog);
  static void readEventEntriesUsingBlock(const LineBlock& block);
  static void readBundleEntriesUsingBlock(const LineBlock& block);
  static void _readFileAtPath(const std::string& path, const LineBlock& applyingBlock);
  // Appends the record as it is; the caller supplies its line feed.
  static void saveEventRecord(std::span<const uint8_t> bytes);
  // Appends the record followed by one line feed.
  static void saveBundleRecord(std::span<const uint8_t> bytes);
  // One append, in one write, on a handle kept open for the process.
  static void _saveData(std::span<const uint8_t> bytes, std::string_view toFileAtLocation);
};
