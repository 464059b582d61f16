// PosixFileSystem: POSIX calls on paths below the root.
#include "platform/posix_file_system.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <random>

namespace tl::platform {

namespace {

Status Errno() { return Status::FromErrno(errno); }

class FdWriteHandle : public WriteHandle {
 public:
  explicit FdWriteHandle(int fd) : fd_(fd) {}
  ~FdWriteHandle() override { ::close(fd_); }

  Status seekToEnd() override {
    const off_t end = ::lseek(fd_, 0, SEEK_END);
    if (end < 0) return Errno();
    offset_ = end;
    return Status::OK();
  }

  Status write(std::span<const uint8_t> bytes) override {
    // One write call per record: a record either lands whole or is reported lost.
    ssize_t n = ::write(fd_, bytes.data(), bytes.size());
    if (n < 0) return Errno();
    if (static_cast<size_t>(n) != bytes.size()) {
      // A disk that fills up part-way takes part of the record: cut it off again, so that the
      // file never holds a torn line that the next record would run on from.
      if (::ftruncate(fd_, offset_) != 0 || ::lseek(fd_, offset_, SEEK_SET) < 0) return Errno();
      return Status::FromErrno(ENOSPC);
    }
    offset_ += n;
    return Status::OK();
  }

 private:
  int fd_;
  off_t offset_ = 0;  // where the next write lands: the handle is the file's only writer
};

class StreamLineReader : public LineReader {
 public:
  explicit StreamLineReader(FILE* stream) : stream_(stream) {}
  ~StreamLineReader() override {
    std::fclose(stream_);
    std::free(buffer_);
  }

  bool readLine(std::string& line) override {
    ssize_t n = ::getline(&buffer_, &capacity_, stream_);
    if (n < 0) return false;
    line.assign(buffer_, static_cast<size_t>(n));
    return true;
  }

 private:
  FILE* stream_;
  char* buffer_ = nullptr;  // getline's growing buffer, one for the whole file
  size_t capacity_ = 0;
};

}  // namespace

PosixFileSystem::PosixFileSystem(std::string root, std::string temporaryDirectory)
    : PosixFileSystem(PathMap::Root(std::move(root)), std::move(temporaryDirectory)) {}

PosixFileSystem::PosixFileSystem(PathMap map, std::string temporaryDirectory)
    : map_(std::move(map)), temporaryDirectory_(std::move(temporaryDirectory)) {}

std::string PosixFileSystem::hostPath(const std::string& path) const {
  return map_.resolve(path).path;
}

Status PosixFileSystem::stat(const std::string& path, FileInfo* info) {
  struct stat st;
  if (::stat(hostPath(path).c_str(), &st) != 0) return Errno();
  if (info) {
    *info = FileInfo{st.st_mode & 07777, static_cast<uint64_t>(st.st_size), S_ISDIR(st.st_mode)};
  }
  return Status::OK();
}

Status PosixFileSystem::createDirectory(const std::string& path, bool intermediates, mode_t mode) {
  const HostPath resolved = map_.resolve(path);
  const std::string& host = resolved.path;
  if (host.empty()) return Status::FromErrno(ENOENT);
  if (!intermediates) {
    if (::mkdir(host.c_str(), mode) != 0) return Errno();
    ::chmod(host.c_str(), mode);
    return Status::OK();
  }
  // Create each missing component below the mapped directory, parents first.
  size_t start = resolved.base + 1;
  for (size_t slash = host.find('/', start);; slash = host.find('/', slash + 1)) {
    std::string part = host.substr(0, slash);
    if (!part.empty() && ::mkdir(part.c_str(), mode) == 0) {
      ::chmod(part.c_str(), mode);  // not narrowed by the process's umask
    } else if (!part.empty() && errno != EEXIST) {
      return Errno();
    }
    if (slash == std::string::npos) break;
  }
  struct stat st;
  if (::stat(host.c_str(), &st) != 0) return Errno();
  if (!S_ISDIR(st.st_mode)) return Status::FromErrno(ENOTDIR);
  return Status::OK();
}

Status PosixFileSystem::createFile(const std::string& path, std::span<const uint8_t> contents,
                                   mode_t mode) {
  std::string host = hostPath(path);
  int fd = ::open(host.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode);
  if (fd < 0) return Errno();
  FdWriteHandle handle(fd);
  if (!contents.empty()) {
    if (Status written = handle.write(contents); !written.ok()) return written;
  }
  if (::fchmod(fd, mode) != 0) return Errno();
  return Status::OK();
}

Status PosixFileSystem::openForAppending(const std::string& path,
                                         std::unique_ptr<WriteHandle>* out) {
  int fd = ::open(hostPath(path).c_str(), O_WRONLY | O_CLOEXEC);
  if (fd < 0) return Errno();
  *out = std::make_unique<FdWriteHandle>(fd);
  return Status::OK();
}

Status PosixFileSystem::openForReading(const std::string& path, std::unique_ptr<LineReader>* out) {
  FILE* stream = std::fopen(hostPath(path).c_str(), "re");
  if (!stream) return Errno();
  *out = std::make_unique<StreamLineReader>(stream);
  return Status::OK();
}

Status PosixFileSystem::remove(const std::string& path) {
  if (::unlink(hostPath(path).c_str()) != 0) return Errno();
  return Status::OK();
}

Status PosixFileSystem::move(const std::string& from, const std::string& to) {
  std::string target = hostPath(to);
  if (::access(target.c_str(), F_OK) == 0) return Status::FromErrno(EEXIST);
  if (::rename(hostPath(from).c_str(), target.c_str()) != 0) return Errno();
  return Status::OK();
}

Status PosixFileSystem::setPermissions(const std::string& path, mode_t mode) {
  if (::chmod(hostPath(path).c_str(), mode) != 0) return Errno();
  return Status::OK();
}

Status PosixFileSystem::temporaryDirectory(std::string* out) {
  if (temporaryDirectory_.empty()) return Status::FromErrno(ENOENT);
  *out = temporaryDirectory_;
  return Status::OK();
}

Status PosixFileSystem::createUniqueFile(std::string& pathTemplate,
                                         std::unique_ptr<WriteHandle>* out) {
  // mkstemp as the BSD routine has it: any number of trailing X is replaced (glibc's insists on
  // six), and the file is made with O_EXCL so that it is new.
  size_t xs = 0;
  while (xs < pathTemplate.size() && pathTemplate[pathTemplate.size() - 1 - xs] == 'X') ++xs;
  if (xs == 0) return Status::FromErrno(EINVAL);
  static constexpr char kAlphabet[] =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
  // Seeded once per thread: a session log makes a file every time, and seeding costs more than
  // the file's name. A name already taken (by a forked twin, say) is passed over by O_EXCL.
  thread_local std::mt19937_64 random(std::random_device{}());
  for (int attempt = 0; attempt < 1000; ++attempt) {
    std::string candidate = pathTemplate;
    for (size_t i = candidate.size() - xs; i < candidate.size(); ++i) {
      candidate[i] = kAlphabet[random() % (sizeof kAlphabet - 1)];
    }
    int fd = ::open(hostPath(candidate).c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd >= 0) {
      pathTemplate = std::move(candidate);
      *out = std::make_unique<FdWriteHandle>(fd);
      return Status::OK();
    }
    if (errno != EEXIST) return Errno();
  }
  return Status::FromErrno(EEXIST);
}

}  // namespace tl::platform
