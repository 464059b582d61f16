// Fuzzes the package databases: dpkg's status file, a package's ".list" of files and apk's
// installed database. Every application found is the ID of a desktop entry's path.
#include <cstddef>
#include <cstdint>

#include "platform/linux/apps/package_database.h"

namespace {

void CheckAppId(const std::string& id) {
  if (id.empty() || id.find('/') != std::string::npos) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  for (const auto& [name, package] : tl::linuxdev::ParseDpkgStatus(text)) {
    if (name.empty()) __builtin_trap();
  }
  for (const std::string& id : tl::linuxdev::AppIdsOfFileList(text)) CheckAppId(id);
  for (const auto& [name, package] : tl::linuxdev::ParseApkInstalled(text)) {
    for (const std::string& id : package.appIds) CheckAppId(id);
  }
  return 0;
}
