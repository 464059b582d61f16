// FaultyFileSystem: wraps a file system and fails chosen operations on demand.
#pragma once

#include <string>

#include "platform/file_system_wrapper.h"

namespace tl::platform {

// Faults stay on until switched off. A path prefix narrows a fault to the paths below it.
class FaultyFileSystem : public FileSystemWrapper {
 public:
  enum class Fault {
    kNoSpace,       // writes fail with ENOSPC
    kNoPermission,  // creating, removing, moving and opening for writing fail with EACCES
    kFailedRename,  // moves fail with EXDEV
    kFailedOpen,    // opening for appending or reading fails; so does making a unique file
  };

  using FileSystemWrapper::FileSystemWrapper;

  void setFault(Fault fault, bool on, std::string pathPrefix = "");
  void clearFaults();
  // Whether fault is on for path; handles ask this at every write.
  bool failing(Fault fault, const std::string& path) const;

  Status createDirectory(const std::string& path, bool intermediates, mode_t mode) override;
  Status createFile(const std::string& path, std::span<const uint8_t> contents,
                    mode_t mode) override;
  Status openForAppending(const std::string& path, std::unique_ptr<WriteHandle>* out) override;
  Status openForReading(const std::string& path, std::unique_ptr<LineReader>* out) override;
  Status remove(const std::string& path) override;
  Status move(const std::string& from, const std::string& to) override;
  Status setPermissions(const std::string& path, mode_t mode) override;
  Status createUniqueFile(std::string& pathTemplate, std::unique_ptr<WriteHandle>* out) override;

 private:
  struct State {
    bool on = false;
    std::string prefix;
  };
  State faults_[4];
};

}  // namespace tl::platform
