// PosixFileSystem: the file system role over POSIX calls, below a root directory.
#pragma once

#include <string>

#include "platform/file_system.h"
#include "platform/path_map.h"

namespace tl::platform {

// Every absolute path the module uses is taken through a path map, so that a device's fixed paths
// ("/var/mobile/...") can live in a sandbox or a state directory.
class PosixFileSystem : public FileSystem {
 public:
  // Everything below root; an empty root is the real "/".
  explicit PosixFileSystem(std::string root, std::string temporaryDirectory = "/tmp/");
  // temporaryDirectory is a device path, ending in "/".
  PosixFileSystem(PathMap map, std::string temporaryDirectory);

  // The host path of a device path.
  std::string hostPath(const std::string& path) const;

  Status stat(const std::string& path, FileInfo* info) override;
  Status createDirectory(const std::string& path, bool intermediates, mode_t mode) override;
  Status createFile(const std::string& path, std::span<const uint8_t> contents,
                    mode_t mode) override;
  Status openForAppending(const std::string& path, std::unique_ptr<WriteHandle>* out) override;
  Status openForReading(const std::string& path, std::unique_ptr<LineReader>* out) override;
  Status remove(const std::string& path) override;
  Status move(const std::string& from, const std::string& to) override;
  Status setPermissions(const std::string& path, mode_t mode) override;
  Status temporaryDirectory(std::string* out) override;
  Status createUniqueFile(std::string& pathTemplate, std::unique_ptr<WriteHandle>* out) override;

 private:
  PathMap map_;
  std::string temporaryDirectory_;
};

}  // namespace tl::platform
