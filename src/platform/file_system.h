// FileSystem: the files the module keeps, under the device's fixed absolute paths.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "base/status.h"

namespace tl::platform {

// Failed file calls give the errno value as their status code, with its system text.

// An open handle for writing. Closing happens on destruction.
class WriteHandle {
 public:
  virtual ~WriteHandle() = default;
  virtual Status seekToEnd() = 0;
  // Writes all of bytes in one call; a short or failed write is an error.
  virtual Status write(std::span<const uint8_t> bytes) = 0;
};

// Reads a file line by line with one growing line buffer.
class LineReader {
 public:
  virtual ~LineReader() = default;
  // The next line including its line feed (the last one may lack it); false at end of file or on
  // a read error, which both end the reading.
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
  // info may be null when only existence matters.
  virtual Status stat(const std::string& path, FileInfo* info) = 0;
  // With intermediates, missing parents are created too; an existing directory is no error then.
  virtual Status createDirectory(const std::string& path, bool intermediates, mode_t mode) = 0;
  // Creates (or replaces) a file holding contents.
  virtual Status createFile(const std::string& path, std::span<const uint8_t> contents,
                            mode_t mode) = 0;
  virtual Status openForAppending(const std::string& path, std::unique_ptr<WriteHandle>* out) = 0;
  virtual Status openForReading(const std::string& path, std::unique_ptr<LineReader>* out) = 0;
  virtual Status remove(const std::string& path) = 0;
  // Never replaces an existing file.
  virtual Status move(const std::string& from, const std::string& to) = 0;
  virtual Status setPermissions(const std::string& path, mode_t mode) = 0;
  // The per-user temporary directory, ending in "/".
  virtual Status temporaryDirectory(std::string* out) = 0;
  // Creates a new file whose name is pathTemplate with its trailing X replaced (mkstemp), open
  // for writing; pathTemplate becomes the file's path.
  virtual Status createUniqueFile(std::string& pathTemplate, std::unique_ptr<WriteHandle>* out) = 0;
};

}  // namespace tl::platform
