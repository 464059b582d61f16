// FaultyFileSystem: the wrapped calls, failing where a fault is on.
#include "platform/faulty_file_system.h"

#include <cerrno>

namespace tl::platform {

namespace {

// Consults the file system at every write, so that a fault switched on after the handle was
// opened still applies, as a disk that fills up does.
class FaultyWriteHandle : public WriteHandle {
 public:
  FaultyWriteHandle(const FaultyFileSystem& fs, std::string path, std::unique_ptr<WriteHandle> base)
      : fs_(fs), path_(std::move(path)), base_(std::move(base)) {}

  Status seekToEnd() override { return base_->seekToEnd(); }
  Status write(std::span<const uint8_t> bytes) override {
    if (fs_.failing(FaultyFileSystem::Fault::kNoSpace, path_)) return Status::FromErrno(ENOSPC);
    return base_->write(bytes);
  }

 private:
  const FaultyFileSystem& fs_;
  std::string path_;
  std::unique_ptr<WriteHandle> base_;
};

// A handle that the wrapped file system opened for path, made to fail as the faults say.
Status Wrapped(const FaultyFileSystem& fs, const std::string& path, Status opened,
               std::unique_ptr<WriteHandle> base, std::unique_ptr<WriteHandle>* out) {
  if (!opened.ok()) return opened;
  *out = std::make_unique<FaultyWriteHandle>(fs, path, std::move(base));
  return Status::OK();
}

}  // namespace

const char* FaultyFileSystem::NameOf(Fault fault) {
  static constexpr const char* kNames[kFaults] = {"no_space", "no_permission", "failed_rename",
                                                  "failed_open", "failed_chmod"};
  return kNames[static_cast<int>(fault)];
}

std::optional<FaultyFileSystem::Fault> FaultyFileSystem::FaultNamed(std::string_view name) {
  for (int i = 0; i < kFaults; ++i) {
    if (name == NameOf(static_cast<Fault>(i))) return static_cast<Fault>(i);
  }
  return std::nullopt;
}

std::vector<std::pair<FaultyFileSystem::Fault, std::string>> FaultyFileSystem::active() const {
  std::vector<std::pair<Fault, std::string>> on;
  for (int i = 0; i < kFaults; ++i) {
    if (faults_[i].on) on.emplace_back(static_cast<Fault>(i), faults_[i].prefix);
  }
  return on;
}

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

Status FaultyFileSystem::createDirectory(const std::string& path, bool intermediates, mode_t mode) {
  if (failing(Fault::kNoPermission, path)) return Status::FromErrno(EACCES);
  return FileSystemWrapper::createDirectory(path, intermediates, mode);
}

Status FaultyFileSystem::createFile(const std::string& path, std::span<const uint8_t> contents,
                                    mode_t mode) {
  if (failing(Fault::kNoPermission, path)) return Status::FromErrno(EACCES);
  if (!contents.empty() && failing(Fault::kNoSpace, path)) return Status::FromErrno(ENOSPC);
  return FileSystemWrapper::createFile(path, contents, mode);
}

Status FaultyFileSystem::openForAppending(const std::string& path,
                                          std::unique_ptr<WriteHandle>* out) {
  if (failing(Fault::kFailedOpen, path) || failing(Fault::kNoPermission, path)) {
    return Status::FromErrno(EACCES);
  }
  std::unique_ptr<WriteHandle> base;
  Status opened = FileSystemWrapper::openForAppending(path, &base);
  return Wrapped(*this, path, std::move(opened), std::move(base), out);
}

Status FaultyFileSystem::openForReading(const std::string& path, std::unique_ptr<LineReader>* out) {
  if (failing(Fault::kFailedOpen, path)) return Status::FromErrno(EACCES);
  return FileSystemWrapper::openForReading(path, out);
}

Status FaultyFileSystem::remove(const std::string& path) {
  if (failing(Fault::kNoPermission, path)) return Status::FromErrno(EACCES);
  return FileSystemWrapper::remove(path);
}

Status FaultyFileSystem::move(const std::string& from, const std::string& to) {
  if (failing(Fault::kNoPermission, to)) return Status::FromErrno(EACCES);
  if (failing(Fault::kFailedRename, to) || failing(Fault::kFailedRename, from)) {
    return Status::FromErrno(EXDEV);
  }
  return FileSystemWrapper::move(from, to);
}

Status FaultyFileSystem::setPermissions(const std::string& path, mode_t mode) {
  if (failing(Fault::kNoPermission, path) || failing(Fault::kFailedChmod, path)) {
    return Status::FromErrno(EPERM);
  }
  return FileSystemWrapper::setPermissions(path, mode);
}

Status FaultyFileSystem::createUniqueFile(std::string& pathTemplate,
                                          std::unique_ptr<WriteHandle>* out) {
  if (failing(Fault::kFailedOpen, pathTemplate) || failing(Fault::kNoPermission, pathTemplate)) {
    return Status::FromErrno(EACCES);
  }
  std::unique_ptr<WriteHandle> base;
  Status made = FileSystemWrapper::createUniqueFile(pathTemplate, &base);
  return Wrapped(*this, pathTemplate, std::move(made), std::move(base), out);
}

}  // namespace tl::platform
