// Fuzzes key files, as desktop entries and Flatpak's metadata and info files are written: what
// GLib's parser takes, read back through the questions the catalogue asks of a desktop entry.
#include <cstddef>
#include <cstdint>

#include "platform/linux/apps/app_ids.h"
#include "platform/linux/apps/key_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const tl::linuxdev::KeyFile file = tl::linuxdev::ParseKeyFile(text);
  for (const char* key : {"Name", "Exec", "Type", "X-Flatpak"}) file.find("Desktop Entry", key);
  for (const char* key : {"NoDisplay", "Hidden", "Terminal"}) file.boolean("Desktop Entry", key);
  for (const std::string& item : file.list("Desktop Entry", "Categories")) {
    if (item.empty()) __builtin_trap();
  }
  tl::linuxdev::AppIdFromFlatpakInfo(text);
  return 0;
}
