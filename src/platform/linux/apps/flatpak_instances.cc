// FlatpakInstances: scanning the instance directories as they appear and go.
#include "platform/linux/apps/flatpak_instances.h"

#include <sys/inotify.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "platform/linux/apps/app_ids.h"
#include "platform/linux/loop/text_file.h"

namespace tl::linuxdev {

namespace {

constexpr char kUnitPrefix[] = "flatpak/";

bool Exists(const std::string& path) {
  struct stat info {};
  return stat(path.c_str(), &info) == 0;
}

}  // namespace

std::optional<FlatpakInstance> ReadFlatpakInstance(const std::string& directory) {
  return ParseFlatpakInstance(ReadText(directory + "/info"),
                              ReadText(directory + "/bwrapinfo.json"));
}

std::optional<FlatpakInstance> ParseFlatpakInstance(std::string_view info,
                                                    std::string_view bwrapinfo) {
  std::optional<std::string> appId = AppIdFromFlatpakInfo(info);
  if (!appId) return std::nullopt;
  const auto bwrap = nlohmann::json::parse(bwrapinfo, nullptr, /*allow_exceptions=*/false);
  const auto pid = bwrap.is_object() ? bwrap.find("child-pid") : bwrap.end();
  if (pid == bwrap.end() || !pid->is_number_integer() || pid->get<int64_t>() <= 0 ||
      pid->get<int64_t>() > INT32_MAX) {
    return std::nullopt;
  }
  return FlatpakInstance{std::move(*appId), static_cast<int32_t>(pid->get<int64_t>())};
}

std::string DefaultFlatpakInstancesDir() {
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  return runtime && *runtime ? std::string(runtime) + "/.flatpak" : std::string();
}

FlatpakInstances::FlatpakInstances(EventLoop& loop, std::string directory, std::string procRoot,
                                   Changed changed, Gone gone)
    : loop_(loop),
      directory_(std::move(directory)),
      procRoot_(std::move(procRoot)),
      changed_(std::move(changed)),
      gone_(std::move(gone)) {}

FlatpakInstances::~FlatpakInstances() = default;

Status FlatpakInstances::start() {
  if (directory_.empty()) return Status::Error(ENOENT, "no runtime directory");
  if (!Exists(directory_)) {
    // The first sandbox since boot creates it in the runtime directory.
    sd_event_source* source = nullptr;
    const std::string parent = directory_.substr(0, directory_.rfind('/'));
    if (!parentWatch_ &&
        sd_event_add_inotify(loop_.event(), &source, parent.c_str(), IN_CREATE | IN_MOVED_TO,
                             OnParentChanged, this) >= 0) {
      parentWatch_.reset(source);
    }
    return Status::Error(ENOENT, "none yet");
  }
  parentWatch_.reset();
  watch(directory_, &watch_, IN_CREATE | IN_DELETE | IN_MOVED_TO | IN_MOVED_FROM);
  scan();
  return Status::OK();
}

int FlatpakInstances::OnParentChanged(sd_event_source*, const inotify_event* event, void* self) {
  auto& instances = *static_cast<FlatpakInstances*>(self);
  instances.loop_.assertOnLoopThread();
  const std::string& directory = instances.directory_;
  if (event->len > 0 && directory.substr(directory.rfind('/') + 1) == event->name &&
      !instances.watch_) {
    instances.start().IgnoreError();  // watched from now on; the start-up line was said
  }
  return 0;
}

void FlatpakInstances::refresh() {
  if (!watch_) {
    start().IgnoreError();  // a directory still missing is looked for again at the next refresh
    return;
  }
  scan();
}

void FlatpakInstances::watch(const std::string& path,
                             std::unique_ptr<sd_event_source, EventSourceDeleter>* slot,
                             uint32_t mask) {
  sd_event_source* source = nullptr;
  if (sd_event_add_inotify(loop_.event(), &source, path.c_str(), mask, OnChanged, this) >= 0) {
    slot->reset(source);
  }
}

int FlatpakInstances::OnChanged(sd_event_source*, const inotify_event*, void* self) {
  auto& instances = *static_cast<FlatpakInstances*>(self);
  instances.loop_.assertOnLoopThread();
  instances.scan();
  return 0;
}

// An instance directory outlives its sandbox until flatpak next cleans up: an instance counts
// while its process lives, and the process's exit (seen through its pidfd) ends it first.
void FlatpakInstances::scan() {
  std::error_code error;
  std::map<std::string, bool> present;
  for (const auto& entry : std::filesystem::directory_iterator(directory_, error)) {
    if (entry.is_directory(error)) present[entry.path().filename().string()] = true;
  }
  for (auto it = live_.begin(); it != live_.end();) {
    if (present.count(it->first) != 0 && Exists(procRoot_ + "/" + std::to_string(it->second.pid))) {
      ++it;
      continue;
    }
    gone_(kUnitPrefix + it->first);
    it = live_.erase(it);
  }
  std::erase_if(pending_, [&](const auto& entry) { return present.count(entry.first) == 0; });
  for (const auto& [id, unused] : present) {
    if (live_.count(id) != 0) continue;
    const std::string path = directory_ + "/" + id;
    // Watched before it is read, so that a file written in between is not missed; a directory
    // still being set up gets its files next.
    if (pending_.count(id) == 0) watch(path, &pending_[id], IN_CLOSE_WRITE | IN_MOVED_TO);
    std::optional<FlatpakInstance> instance = ReadFlatpakInstance(path);
    if (!instance) continue;
    pending_.erase(id);
    if (!Exists(procRoot_ + "/" + std::to_string(instance->pid))) continue;  // a stale one
    AppUnit unit{instance->appId, true, false, true, {instance->pid}};
    live_.emplace(id, std::move(*instance));
    changed_(kUnitPrefix + id, unit);
  }
}

}  // namespace tl::linuxdev
