// TLSessionPersistenceManager: appending, reading and truncating the record files.
#include "sessions/tl_session_persistence_manager.h"

#include <algorithm>
#include <vector>

#include "platform/device_paths.h"
#include "platform/platform.h"
#include "sessions/session_records.h"
#include "sessions/sessions_state.h"

using tl::sessions::Sessions;

static_assert(std::string_view(TLSessionPersistenceManager::kEventLogPath)
                  .starts_with(tl::platform::kRecordDirectory));
static_assert(std::string_view(TLSessionPersistenceManager::kBundleLogPath)
                  .starts_with(tl::platform::kRecordDirectory));

namespace {

using Handles = decltype(tl::sessions::SessionsState::openHandles);

Handles::iterator FindHandle(Handles& handles, std::string_view path) {
  return std::find_if(handles.begin(), handles.end(),
                      [&](const auto& entry) { return entry.first == path; });
}

// Dropping a handle closes it; the next append opens the file anew.
void DropHandle(Handles& handles, std::string_view path) {
  std::erase_if(handles, [&](const auto& entry) { return entry.first == path; });
}

std::string ParentDirectory(const std::string& path) {
  auto slash = path.rfind('/');
  return slash == std::string::npos || slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

uint32_t TLSessionPersistenceManager::uniqueKey() { return ++Sessions().keyCounter; }

void TLSessionPersistenceManager::truncateEventLogWithBundleLog(bool bundleLog) {
  auto& files = tl::platform::Current().files();
  auto& state = Sessions();
  DropHandle(state.openHandles, kEventLogPath);
  if (tl::Status removed = files.remove(kEventLogPath); !removed.ok()) {
    TLLog("Couldn't remove %s. Error: %s", kEventLogPath, removed.message().c_str());
  }
  if (!bundleLog) return;
  DropHandle(state.openHandles, kBundleLogPath);
  if (tl::Status removed = files.remove(kBundleLogPath); !removed.ok()) {
    TLLog("Couldn't remove %s. Error %s", kBundleLogPath, removed.message().c_str());
  }
  state.keyCounter = 0;
}

void TLSessionPersistenceManager::readEventEntriesUsingBlock(const LineBlock& block) {
  _readFileAtPath(kEventLogPath, block);
}

void TLSessionPersistenceManager::readBundleEntriesUsingBlock(const LineBlock& block) {
  _readFileAtPath(kBundleLogPath, block);
}

void TLSessionPersistenceManager::_readFileAtPath(const std::string& path,
                                                  const LineBlock& applyingBlock) {
  std::unique_ptr<tl::platform::LineReader> reader;
  if (!tl::platform::Current().files().openForReading(path, &reader).ok()) return;
  std::string line;  // one buffer for the whole file
  bool stop = false;
  while (!stop && reader->readLine(line)) applyingBlock(line, &stop);
}

void TLSessionPersistenceManager::saveEventRecord(std::span<const uint8_t> bytes) {
  _saveData(bytes, kEventLogPath);
}

void TLSessionPersistenceManager::saveBundleRecord(std::span<const uint8_t> bytes) {
  std::vector<uint8_t> line(bytes.begin(), bytes.end());
  line.push_back(tl::sessions::kRecordEnd);
  _saveData(line, kBundleLogPath);
}

void TLSessionPersistenceManager::_saveData(std::span<const uint8_t> bytes,
                                            std::string_view toFileAtLocation) {
  auto& handles = Sessions().openHandles;
  auto it = FindHandle(handles, toFileAtLocation);
  if (it == handles.end()) {
    std::string path(toFileAtLocation);
    auto& files = tl::platform::Current().files();
    if (!files.stat(path, nullptr).ok()) {
      std::string directory = ParentDirectory(path);
      if (!files.stat(directory, nullptr).ok() &&
          !files.createDirectory(directory, /*intermediates=*/true, 0755).ok()) {
        TLLog("Couldn't create directory at %s for %s", directory.c_str(), path.c_str());
      }
      if (!files.createFile(path, {}, 0644).ok()) {
        TLLog("Couldn't create log file at %s", path.c_str());
      }
    }
    // A file that cannot be opened loses this record silently; nothing is cached, so the next
    // append tries again.
    std::unique_ptr<tl::platform::WriteHandle> handle;
    if (!files.openForAppending(path, &handle).ok()) return;
    handle->seekToEnd().IgnoreError();  // not looked at: only the write is guarded
    handles.emplace_back(std::move(path), std::move(handle));
    it = std::prev(handles.end());
  }
  // Only the write is guarded: a failed one loses this record and keeps the handle.
  if (tl::Status written = it->second->write(bytes); !written.ok()) {
    TLLog("Received exception while saving data: %s", written.message().c_str());
  }
}
