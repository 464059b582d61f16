// PathMap: where a device's absolute paths live on the host.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tl::platform {

// A device path resolved to the host: the host path, and the length of its leading part that is
// the mapped directory itself (which the file system never creates).
struct HostPath {
  std::string path;
  size_t base = 0;
};

// Device paths (a directory and everything below it, or one file) taken to host paths. The
// longest entry that covers a path wins; a path that no entry covers resolves to an empty path,
// which exists nowhere, so the module cannot reach outside the map.
class PathMap {
 public:
  // Everything below root ("" for the real "/").
  static PathMap Root(std::string root);

  // devicePath is absolute; "/" covers every path.
  void add(std::string devicePath, std::string hostPath);
  HostPath resolve(std::string_view devicePath) const;

  struct Entry {
    std::string device;
    std::string host;
  };
  const std::vector<Entry>& entries() const { return entries_; }

 private:
  std::vector<Entry> entries_;
};

}  // namespace tl::platform
