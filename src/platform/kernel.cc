// Kernel: the answer of a sysctl, shared by every device.
#include "platform/kernel.h"

#include <cerrno>
#include <cstring>

namespace tl::platform {

int Kernel::SysctlAnswer(const void* bytes, size_t size, void* buffer, size_t* length) {
  if (!length) {
    errno = EINVAL;
    return -1;
  }
  if (!buffer) {
    *length = size;
    return 0;
  }
  if (*length < size) {
    std::memcpy(buffer, bytes, *length);
    errno = ENOMEM;
    return -1;
  }
  std::memcpy(buffer, bytes, size);
  *length = size;
  return 0;
}

}  // namespace tl::platform
