// PosixFileSystem: POSIX calls on paths below the root.
#include "platform/posix_file_system.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>

namespace tl::platform {

FileError ErrorFromErrno(int code) { return FileError{code, std::strerror(code)}; }

namespace {

FileResult Errno() { return ErrorFromErrno(errno); }

class FdWriteHandle : public WriteHandle {
 public:
  explicit FdWriteHandle(int fd) : fd_(fd) {}
  ~FdWriteHandle() override { ::close(fd_); }

  FileResult seekToEnd() override {
    if (::lseek(fd_, 0, SEEK_END) < 0) return Errno();
    return std::nullopt;
  }

  FileResult write(std::span<const uint8_t> bytes) override {
    // One write call per record: a record either lands whole or is reported lost.
    ssize_t n = ::write(fd_, bytes.data(), bytes.size());
    if (n < 0) return Errno();
    if (static_cast<size_t>(n) != bytes.size()) return ErrorFromErrno(ENOSPC);
    return std::nullopt;
  }

 private:
  int fd_;
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
    : root_(std::move(root)), temporaryDirectory_(std::move(temporaryDirectory)) {
  while (!root_.empty() && root_.back() == '/') root_.pop_back();
}

std::string PosixFileSystem::hostPath(const std::string& path) const {
  if (root_.empty() || path.empty() || path.front() != '/') return path;
  return root_ + path;
}

std::optional<FileInfo> PosixFileSystem::stat(const std::string& path) {
  struct stat st;
  if (::stat(hostPath(path).c_str(), &st) != 0) return std::nullopt;
  return FileInfo{st.st_mode & 07777, static_cast<uint64_t>(st.st_size), S_ISDIR(st.st_mode)};
}

FileResult PosixFileSystem::createDirectory(const std::string& path, bool intermediates,
                                            mode_t mode) {
  std::string host = hostPath(path);
  if (!intermediates) {
    if (::mkdir(host.c_str(), mode) != 0) return Errno();
    ::chmod(host.c_str(), mode);
    return std::nullopt;
  }
  // Create each missing component below the root, parents first.
  size_t start = root_.size() + 1;
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
  if (!S_ISDIR(st.st_mode)) return ErrorFromErrno(ENOTDIR);
  return std::nullopt;
}

FileResult PosixFileSystem::createFile(const std::string& path, std::span<const uint8_t> contents,
                                       mode_t mode) {
  std::string host = hostPath(path);
  int fd = ::open(host.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode);
  if (fd < 0) return Errno();
  FdWriteHandle handle(fd);
  if (!contents.empty()) {
    if (FileResult error = handle.write(contents)) return error;
  }
  if (::fchmod(fd, mode) != 0) return Errno();
  return std::nullopt;
}

std::unique_ptr<WriteHandle> PosixFileSystem::openForAppending(const std::string& path) {
  int fd = ::open(hostPath(path).c_str(), O_WRONLY | O_CLOEXEC);
  if (fd < 0) return nullptr;
  return std::make_unique<FdWriteHandle>(fd);
}

std::unique_ptr<LineReader> PosixFileSystem::openForReading(const std::string& path) {
  FILE* stream = std::fopen(hostPath(path).c_str(), "re");
  if (!stream) return nullptr;
  return std::make_unique<StreamLineReader>(stream);
}

FileResult PosixFileSystem::remove(const std::string& path) {
  if (::unlink(hostPath(path).c_str()) != 0) return Errno();
  return std::nullopt;
}

FileResult PosixFileSystem::move(const std::string& from, const std::string& to) {
  // A move does not replace an existing file.
  std::string target = hostPath(to);
  if (::access(target.c_str(), F_OK) == 0) return ErrorFromErrno(EEXIST);
  if (::rename(hostPath(from).c_str(), target.c_str()) != 0) return Errno();
  return std::nullopt;
}

FileResult PosixFileSystem::setPermissions(const std::string& path, mode_t mode) {
  if (::chmod(hostPath(path).c_str(), mode) != 0) return Errno();
  return std::nullopt;
}

std::optional<std::string> PosixFileSystem::temporaryDirectory() {
  if (temporaryDirectory_.empty()) return std::nullopt;
  return temporaryDirectory_;
}

int PosixFileSystem::makeUniqueFile(std::string& pathTemplate) {
  // Like the BSD routine, any number of trailing X is replaced (glibc insists on six).
  size_t xs = 0;
  while (xs < pathTemplate.size() && pathTemplate[pathTemplate.size() - 1 - xs] == 'X') ++xs;
  if (xs == 0) {
    errno = EINVAL;
    return -1;
  }
  static constexpr char kAlphabet[] =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
  std::random_device entropy;
  std::mt19937_64 random(entropy());
  for (int attempt = 0; attempt < 1000; ++attempt) {
    std::string candidate = pathTemplate;
    for (size_t i = candidate.size() - xs; i < candidate.size(); ++i) {
      candidate[i] = kAlphabet[random() % (sizeof kAlphabet - 1)];
    }
    int fd = ::open(hostPath(candidate).c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd >= 0) {
      pathTemplate = std::move(candidate);
      return fd;
    }
    if (errno != EEXIST) return -1;
  }
  errno = EEXIST;
  return -1;
}

std::unique_ptr<WriteHandle> PosixFileSystem::adoptDescriptor(int fd) {
  if (fd < 0) return nullptr;
  return std::make_unique<FdWriteHandle>(fd);
}

}  // namespace tl::platform
