// TLSessionPersistenceManager: appending, reading and truncating the record files.
#include "sessions/tl_session_persistence_manager.h"

#include <map>
#include <memory>
#include <vector>

#include "core/no_destructor.h"
#include "platform/platform.h"

namespace {

struct State {
  // Path -> write handle positioned at the file's end; two files, kept open for the process.
  std::map<std::string, std::unique_ptr<tl::platform::WriteHandle>, std::less<>> openHandles;
  uint32_t keyCounter = 0;
};

State& Class() {
  static tl::NoDestructor<State> state;
  return *state;
}

std::string ParentDirectory(const std::string& path) {
  auto slash = path.rfind('/');
  return slash == std::string::npos || slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

uint32_t TLSessionPersistenceManager::uniqueKey() { return ++Class().keyCounter; }

void TLSessionPersistenceManager::truncateEventLogWithBundleLog(bool bundleLog) {
  auto& files = tl::platform::Current().files();
  // Dropping the handle closes it; the next append opens the new file.
  Class().openHandles.erase(kEventLogPath);
  if (auto error = files.remove(kEventLogPath)) {
    TLLog("Couldn't remove %s. Error: %s", kEventLogPath, error->description.c_str());
  }
  if (!bundleLog) return;
  Class().openHandles.erase(kBundleLogPath);
  if (auto error = files.remove(kBundleLogPath)) {
    TLLog("Couldn't remove %s. Error %s", kBundleLogPath, error->description.c_str());
  }
  Class().keyCounter = 0;
}

void TLSessionPersistenceManager::readEventEntriesUsingBlock(const LineBlock& block) {
  _readFileAtPath(kEventLogPath, block);
}

void TLSessionPersistenceManager::readBundleEntriesUsingBlock(const LineBlock& block) {
  _readFileAtPath(kBundleLogPath, block);
}

void TLSessionPersistenceManager::_readFileAtPath(const std::string& path,
                                                  const LineBlock& applyingBlock) {
  auto reader = tl::platform::Current().files().openForReading(path);
  if (!reader) return;
  std::string line;  // one buffer for the whole file
  bool stop = false;
  while (!stop && reader->readLine(line)) applyingBlock(line, &stop);
}

void TLSessionPersistenceManager::saveEventRecord(std::span<const uint8_t> bytes) {
  _saveData(bytes, kEventLogPath);
}

void TLSessionPersistenceManager::saveBundleRecord(std::span<const uint8_t> bytes) {
  std::vector<uint8_t> line(bytes.begin(), bytes.end());
  line.push_back('\n');
  _saveData(line, kBundleLogPath);
}

void TLSessionPersistenceManager::_saveData(std::span<const uint8_t> bytes,
                                            std::string_view toFileAtLocation) {
  auto& handles = Class().openHandles;
  auto it = handles.find(toFileAtLocation);
  if (it == handles.end()) {
    const std::string path(toFileAtLocation);
    auto& files = tl::platform::Current().files();
    if (!files.stat(path)) {
      std::string directory = ParentDirectory(path);
      if (!files.stat(directory)) {
        if (files.createDirectory(directory, /*intermediates=*/true, 0755)) {
          TLLog("Couldn't create directory at %s for %s", directory.c_str(), path.c_str());
        }
      }
      if (files.createFile(path, {}, 0644)) {
        TLLog("Couldn't create log file at %s", path.c_str());
      }
    }
    // A file that cannot be opened loses this record silently; nothing is cached, so the next
    // append tries again.
    auto handle = files.openForAppending(path);
    if (!handle) return;
    handle->seekToEnd();
    it = handles.emplace(std::move(path), std::move(handle)).first;
  }
  // Only the write is guarded: a failed one loses this record and keeps the handle.
  if (auto error = it->second->write(bytes)) {
    TLLog("Received exception while saving data: %s", error->description.c_str());
  }
}
