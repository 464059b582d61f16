// FileSystem: the files the module keeps, under the device's fixed absolute paths.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace tl::platform {

// Why a file operation failed: the errno value and its text.
struct FileError {
  int code = 0;
  std::string description;
};
using FileResult = std::optional<FileError>;  // nullopt means success

// An open handle for appending. Closing happens on destruction.
class WriteHandle {
 public:
  virtual ~WriteHandle() = default;
  virtual FileResult seekToEnd() = 0;
  // Writes all of bytes in one call; a short or failed write is an error.
  virtual FileResult write(std::span<const uint8_t> bytes) = 0;
};

// Reads a file line by line with one growing line buffer.
class LineReader {
 public:
  virtual ~LineReader() = default;
  // The next line including its line feed (the last one may lack it); false at end of file or on
  // a read error.
  virtual bool readLine(std::string& line) = 0;
};

struct FileInfo {
  mode_t mode = 0;
  uint64_t size = 0;
  bool isDirectory = false;
};

class FileSystem {
 public:
  virtual ~FileSystem() = default;
  virtual std::optional<FileInfo> stat(const std::string& path) = 0;
  // With intermediates, missing parents are created too; an existing directory is no error then.
  virtual FileResult createDirectory(const std::string& path, bool intermediates, mode_t mode) = 0;
  // Creates (or replaces) a file holding contents.
  virtual FileResult createFile(const std::string& path, std::span<const uint8_t> contents,
                                mode_t mode) = 0;
  // nullptr when the file cannot be opened for writing.
  virtual std::unique_ptr<WriteHandle> openForAppending(const std::string& path) = 0;
  // nullptr when the file cannot be opened for reading.
  virtual std::unique_ptr<LineReader> openForReading(const std::string& path) = 0;
  virtual FileResult remove(const std::string& path) = 0;
  virtual FileResult move(const std::string& from, const std::string& to) = 0;
  virtual FileResult setPermissions(const std::string& path, mode_t mode) = 0;
  // The per-user temporary directory, ending in "/"; nullopt when it cannot be read.
  virtual std::optional<std::string> temporaryDirectory() = 0;
  // mkstemp: replaces the trailing X of pathTemplate and creates the file; a descriptor or -1.
  virtual int makeUniqueFile(std::string& pathTemplate) = 0;
  // A handle that owns descriptor fd; nullptr when none can be made (fd is then closed).
  virtual std::unique_ptr<WriteHandle> adoptDescriptor(int fd) = 0;
};

}  // namespace tl::platform
