// Text files: whole reads and replacing writes.
#include "platform/linux/loop/text_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace tl::linuxdev {

std::string ReadText(const std::string& path) {
  std::string text;
  ReadText(path, &text).IgnoreError();
  return text;
}

Status ReadText(const std::string& path, std::string* text) {
  text->clear();
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return Status::FromErrno(errno);
  char buffer[16384];
  Status status;
  for (;;) {
    const ssize_t n = read(fd, buffer, sizeof buffer);
    if (n > 0) {
      text->append(buffer, static_cast<size_t>(n));
    } else if (n == 0) {
      break;
    } else if (errno != EINTR) {
      status = Status::FromErrno(errno);
      break;
    }
  }
  close(fd);
  return status;
}

bool ReplaceText(const std::string& path, const std::string& text) {
  const std::string next = path + ".new";
  const int fd = open(next.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0) return false;
  size_t done = 0;
  while (done < text.size()) {
    const ssize_t n = write(fd, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    done += static_cast<size_t>(n);
  }
  const bool written = close(fd) == 0 && done == text.size();
  if (!written || std::rename(next.c_str(), path.c_str()) != 0) {
    unlink(next.c_str());
    return false;
  }
  return true;
}

}  // namespace tl::linuxdev
