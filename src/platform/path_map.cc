// PathMap: longest-prefix resolution on whole path components.
#include "platform/path_map.h"

namespace tl::platform {

namespace {

std::string WithoutTrailingSlashes(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

// Whether entry covers path: the same path, or a directory above it.
bool Covers(std::string_view entry, std::string_view path) {
  if (entry == "/") return true;
  if (!path.starts_with(entry)) return false;
  return path.size() == entry.size() || path[entry.size()] == '/';
}

}  // namespace

PathMap PathMap::Root(std::string root) {
  PathMap map;
  map.add("/", std::move(root));
  return map;
}

void PathMap::add(std::string devicePath, std::string hostPath) {
  hostPath = WithoutTrailingSlashes(std::move(hostPath));
  if (hostPath == "/") hostPath.clear();
  entries_.push_back({WithoutTrailingSlashes(std::move(devicePath)), std::move(hostPath)});
}

HostPath PathMap::resolve(std::string_view path) const {
  if (path.empty() || path.front() != '/') return {std::string(path), 0};
  const Entry* best = nullptr;
  for (const Entry& entry : entries_) {
    if (Covers(entry.device, path) && (!best || entry.device.size() > best->device.size())) {
      best = &entry;
    }
  }
  if (!best) return {};
  std::string_view rest = best->device == "/" ? path : path.substr(best->device.size());
  return {best->host + std::string(rest), best->host.size()};
}

}  // namespace tl::platform
