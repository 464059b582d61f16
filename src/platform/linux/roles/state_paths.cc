// StatePaths: the state directory's map of device paths.
#include "platform/linux/roles/state_paths.h"

#include <unistd.h>

#include <cerrno>
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

std::string CreateStateDirectories(const platform::PathMap& map) {
  for (const auto& entry : map.entries()) {
    if (entry.device == platform::kForceMultiUserMarker) continue;
    std::error_code error;
    std::filesystem::create_directories(entry.host, error);
    if (!error && !std::filesystem::is_directory(entry.host, error) && !error) {
      error = std::make_error_code(std::errc::not_a_directory);
    }
    if (!error && access(entry.host.c_str(), W_OK | X_OK) != 0) {
      error = std::error_code(errno, std::generic_category());
    }
    if (error) return entry.host + ": " + error.message();
  }
  return {};
}

}  // namespace tl::linuxdev
