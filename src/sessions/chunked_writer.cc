// ChunkedWriter: writing the collected text.
#include "sessions/chunked_writer.h"

namespace tl::sessions {

ChunkedWriter::ChunkedWriter(tl::platform::WriteHandle& handle) : handle_(handle) {
  // A chunk and the largest piece added before a drain: one event, or a bundle's members.
  buffer_.reserve(kChunk + 4096);
}

void ChunkedWriter::flush() {
  if (status_.ok() && !buffer_.empty()) {
    status_ = handle_.write({reinterpret_cast<const uint8_t*>(buffer_.data()), buffer_.size()});
  }
  buffer_.clear();
}

}  // namespace tl::sessions
