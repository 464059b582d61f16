// FileSystemWrapper: a file system that forwards every call to another one.
#pragma once

#include "platform/file_system.h"

namespace tl::platform {

// A base for file systems that change some calls of another and keep the rest: derive and
// override only what differs. target must outlive the wrapper.
class FileSystemWrapper : public FileSystem {
 public:
  explicit FileSystemWrapper(FileSystem& target) : target_(target) {}

  FileSystem& target() const { return target_; }

  Status stat(const std::string& path, FileInfo* info) override { return target_.stat(path, info); }
  Status createDirectory(const std::string& path, bool intermediates, mode_t mode) override {
    return target_.createDirectory(path, intermediates, mode);
  }
  Status createFile(const std::string& path, std::span<const uint8_t> contents,
                    mode_t mode) override {
    return target_.createFile(path, contents, mode);
  }
  Status openForAppending(const std::string& path, std::unique_ptr<WriteHandle>* out) override {
    return target_.openForAppending(path, out);
  }
  Status openForReading(const std::string& path, std::unique_ptr<LineReader>* out) override {
    return target_.openForReading(path, out);
  }
  Status remove(const std::string& path) override { return target_.remove(path); }
  Status move(const std::string& from, const std::string& to) override {
    return target_.move(from, to);
  }
  Status setPermissions(const std::string& path, mode_t mode) override {
    return target_.setPermissions(path, mode);
  }
  Status temporaryDirectory(std::string* out) override { return target_.temporaryDirectory(out); }
  Status createUniqueFile(std::string& pathTemplate, std::unique_ptr<WriteHandle>* out) override {
    return target_.createUniqueFile(pathTemplate, out);
  }

 private:
  FileSystem& target_;
};

}  // namespace tl::platform
