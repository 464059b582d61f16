// PosixFileSystem: the file system role over POSIX calls, below a root directory.
#pragma once

#include <string>

#include "platform/file_system.h"

namespace tl::platform {

// Every absolute path the module uses is taken below root, so that a device's fixed paths
// ("/var/mobile/...") can live in a sandbox. An empty root is the real "/".
class PosixFileSystem : public FileSystem {
 public:
  explicit PosixFileSystem(std::string root, std::string temporaryDirectory = "/tmp/");

  // The host path of a device path.
  std::string hostPath(const std::string& path) const;

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

 private:
  std::string root_;
  std::string temporaryDirectory_;
};

// The error of errno value code.
FileError ErrorFromErrno(int code);

}  // namespace tl::platform
