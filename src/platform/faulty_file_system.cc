// FaultyFileSystem: the wrapped calls, failing where a fault is on.
#include "platform/faulty_file_system.h"

#include <unistd.h>

#include <cerrno>

#include "platform/posix_file_system.h"

namespace tl::platform {

namespace {

// Consults the file system at every write, so that a fault switched on after the handle was
// opened still applies, as a disk that fills up does.
class FaultyWriteHandle : public WriteHandle {
 public:
  FaultyWriteHandle(const FaultyFileSystem& fs, std::string path, std::unique_ptr<WriteHandle> base)
      : fs_(fs), path_(std::move(path)), base_(std::move(base)) {}

  FileResult seekToEnd() override { return base_->seekToEnd(); }
  FileResult write(std::span<const uint8_t> bytes) override {
    if (fs_.failing(FaultyFileSystem::Fault::kNoSpace, path_)) return ErrorFromErrno(ENOSPC);
    return base_->write(bytes);
  }

 private:
  const FaultyFileSystem& fs_;
  std::string path_;
  std::unique_ptr<WriteHandle> base_;
};

}  // namespace

void FaultyFileSystem::setFault(Fault fault, bool on, std::string pathPrefix) {
  faults_[static_cast<int>(fault)] = State{on, std::move(pathPrefix)};
}

void FaultyFileSystem::clearFaults() {
  for (State& s : faults_) s = State{};
}

bool FaultyFileSystem::failing(Fault fault, const std::string& path) const {
  const State& s = faults_[static_cast<int>(fault)];
  return s.on && path.starts_with(s.prefix);
}

std::optional<FileInfo> FaultyFileSystem::stat(const std::string& path) { return base_.stat(path); }

FileResult FaultyFileSystem::createDirectory(const std::string& path, bool intermediates,
                                             mode_t mode) {
  if (failing(Fault::kNoPermission, path)) return ErrorFromErrno(EACCES);
  return base_.createDirectory(path, intermediates, mode);
}

FileResult FaultyFileSystem::createFile(const std::string& path, std::span<const uint8_t> contents,
                                        mode_t mode) {
  if (failing(Fault::kNoPermission, path)) return ErrorFromErrno(EACCES);
  if (!contents.empty() && failing(Fault::kNoSpace, path)) return ErrorFromErrno(ENOSPC);
  return base_.createFile(path, contents, mode);
}

std::unique_ptr<WriteHandle> FaultyFileSystem::openForAppending(const std::string& path) {
  if (failing(Fault::kFailedOpen, path) || failing(Fault::kNoPermission, path)) return nullptr;
  auto base = base_.openForAppending(path);
  if (!base) return nullptr;
  return std::make_unique<FaultyWriteHandle>(*this, path, std::move(base));
}

std::unique_ptr<LineReader> FaultyFileSystem::openForReading(const std::string& path) {
  if (failing(Fault::kFailedOpen, path)) return nullptr;
  return base_.openForReading(path);
}

FileResult FaultyFileSystem::remove(const std::string& path) {
  if (failing(Fault::kNoPermission, path)) return ErrorFromErrno(EACCES);
  return base_.remove(path);
}

FileResult FaultyFileSystem::move(const std::string& from, const std::string& to) {
  if (failing(Fault::kNoPermission, to)) return ErrorFromErrno(EACCES);
  if (failing(Fault::kFailedRename, to) || failing(Fault::kFailedRename, from)) {
    return ErrorFromErrno(EXDEV);
  }
  return base_.move(from, to);
}

FileResult FaultyFileSystem::setPermissions(const std::string& path, mode_t mode) {
  if (failing(Fault::kNoPermission, path)) return ErrorFromErrno(EPERM);
  return base_.setPermissions(path, mode);
}

std::optional<std::string> FaultyFileSystem::temporaryDirectory() {
  return base_.temporaryDirectory();
}

int FaultyFileSystem::makeUniqueFile(std::string& pathTemplate) {
  if (failing(Fault::kFailedOpen, pathTemplate) || failing(Fault::kNoPermission, pathTemplate)) {
    errno = EACCES;
    return -1;
  }
  int fd = base_.makeUniqueFile(pathTemplate);
  if (fd >= 0) descriptorPaths_[fd] = pathTemplate;
  return fd;
}

std::unique_ptr<WriteHandle> FaultyFileSystem::adoptDescriptor(int fd) {
  auto base = base_.adoptDescriptor(fd);
  auto path = descriptorPaths_.extract(fd);
  if (!base || path.empty()) return base;
  return std::make_unique<FaultyWriteHandle>(*this, std::move(path.mapped()), std::move(base));
}

}  // namespace tl::platform
