// ChunkedWriter: the session log's bytes collected and handed to the file in large writes.
#pragma once

#include <string>
#include <string_view>

#include "base/status.h"
#include "platform/file_system.h"

namespace tl::sessions {

// The log is never held whole in memory: pieces are appended to text(), and drain() writes what
// has collected once it reaches a chunk. The first failed write is kept and later writes are
// skipped.
class ChunkedWriter {
 public:
  static constexpr size_t kChunk = 64 * 1024;

  explicit ChunkedWriter(tl::platform::WriteHandle& handle);

  std::string& text() { return buffer_; }
  void append(std::string_view bytes) {
    buffer_.append(bytes);
    drain();
  }
  // Writes the collected text when it has reached a chunk.
  void drain() {
    if (buffer_.size() >= kChunk) flush();
  }
  // Writes what is left; the first failure of any write.
  tl::Status finish() {
    flush();
    return status_;
  }

 private:
  void flush();

  tl::platform::WriteHandle& handle_;
  std::string buffer_;
  tl::Status status_;
};

}  // namespace tl::sessions
