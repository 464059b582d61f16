// Fuzzes a Flatpak instance's "info" and "bwrapinfo.json", split from the input at the first NUL
// byte: an instance found has an application and a process ID a process can have.
#include <cstddef>
#include <cstdint>

#include "platform/linux/apps/flatpak_instances.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const size_t split = std::min(text.find('\0'), text.size());
  const std::string_view info = text.substr(0, split);
  const std::string_view bwrap = text.substr(std::min(split + 1, text.size()));
  if (auto instance = tl::linuxdev::ParseFlatpakInstance(info, bwrap)) {
    if (instance->appId.empty() || instance->pid <= 0) __builtin_trap();
  }
  return 0;
}
