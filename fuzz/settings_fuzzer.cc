// Fuzzes the daemon's settings file: it is taken whole, or refused with a message that names
// the file and the cause.
#include <cstddef>
#include <cstdint>

#include "host/daemon/daemon_config.h"
#include "host/exit_codes.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  try {
    const tl::linuxdev::Settings settings = tl::host::ParseDaemonConfig(text, "settings.json");
    if (!(settings.pollSeconds >= 1)) __builtin_trap();
  } catch (const tl::host::CommandError& error) {
    if (error.status() != tl::host::kExitBadInput) __builtin_trap();
    if (std::string_view(error.what()).substr(0, 15) != "settings.json: ") __builtin_trap();
  }
  return 0;
}
