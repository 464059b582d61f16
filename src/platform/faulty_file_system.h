// FaultyFileSystem: wraps a file system and fails chosen operations on demand.
#pragma once

#include <map>
#include <string>

#include "platform/file_system.h"

namespace tl::platform {

// Faults stay on until switched off. A path prefix narrows a fault to the paths below it.
class FaultyFileSystem : public FileSystem {
 public:
  enum class Fault {
    kNoSpace,       // writes fail with ENOSPC
    kNoPermission,  // creating, removing, moving and opening for writing fail with EACCES
    kFailedRename,  // moves fail with EXDEV
    kFailedOpen,    // opening for appending or reading gives no handle; mkstemp fails
  };

  explicit FaultyFileSystem(FileSystem& base) : base_(base) {}

  void setFault(Fault fault, bool on, std::string pathPrefix = "");
  void clearFaults();

  std::optional<FileInfo> stat(const std::string& path) override;
  FileResult createDirectory(const std::string& path, bool intermediates, mode_t mode) override;
  FileResult createFile(const std::string& path, std::span<const uint8_t> contents,
                        mode_t mode) override;
  std::unique_ptr<WriteHandle> openForAppending(const std::string& path) override;
  std::unique_ptr<LineReader> openForReading(const std::string& path) override;
  FileResult remove(const std::string& path) override;
  FileResult move(const std::string& from, const std::string& to) override;
  FileResult setPermissions(const std::string& path, mode_t mode) override;
  std::optional<std::string> temporaryDirectory() override;
  int makeUniqueFile(std::string& pathTemplate) override;
  std::unique_ptr<WriteHandle> adoptDescriptor(int fd) override;

  // Whether fault is on for path; handles ask this at every write.
  bool failing(Fault fault, const std::string& path) const;

 private:
  struct State {
    bool on = false;
    std::string prefix;
  };
  FileSystem& base_;
  State faults_[4];
  // Paths of the descriptors made by makeUniqueFile, so that their handles fail like others.
  std::map<int, std::string> descriptorPaths_;
};

}  // namespace tl::platform
