// StatePaths: the state directory's map of device paths.
#include "platform/linux/state_paths.h"

#include <filesystem>

#include "platform/device_paths.h"

namespace tl::linuxdev {

platform::PathMap StatePathMap(const std::string& state) {
  platform::PathMap map;
  map.add(platform::kRecordDirectory, state + "/records");
  map.add(platform::kDiagnosticLogDirectory, state + "/session-logs");
  map.add(platform::kForceMultiUserMarker, state + "/force-multi-user");
  map.add(platform::kSingleUserContainer, state + "/container");
  map.add("/tmp", state + "/tmp");
  return map;
}

bool CreateStateDirectories(const platform::PathMap& map) {
  for (const auto& entry : map.entries()) {
    if (entry.device == platform::kForceMultiUserMarker) continue;
    std::error_code error;
    std::filesystem::create_directories(entry.host, error);
    if (error) return false;
  }
  return true;
}

}  // namespace tl::linuxdev
