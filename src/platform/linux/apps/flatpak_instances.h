// FlatpakInstances: the user's running Flatpak sandboxes ($XDG_RUNTIME_DIR/.flatpak), each an
// application's instance with its main process, on the loop thread.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/linux/apps/app_run_states.h"
#include "platform/linux/loop/event_loop.h"

namespace tl::linuxdev {

struct FlatpakInstance {
  std::string appId;
  int32_t pid = 0;  // the sandboxed main process
};

// The instance a directory describes: the application its "info" names and the "child-pid" of
// its "bwrapinfo.json"; none while either is missing (flatpak writes them as it starts the
// sandbox) or unreadable.
std::optional<FlatpakInstance> ReadFlatpakInstance(const std::string& directory);
// The same from the texts of "info" and "bwrapinfo.json".
std::optional<FlatpakInstance> ParseFlatpakInstance(std::string_view info,
                                                    std::string_view bwrapinfo);

// $XDG_RUNTIME_DIR/.flatpak; empty without a runtime directory.
std::string DefaultFlatpakInstancesDir();

class FlatpakInstances {
 public:
  // An instance is reported as a unit named "flatpak/ID" that is active with its one process.
  using Changed = std::function<void(const std::string& name, const AppUnit& unit)>;
  using Gone = std::function<void(const std::string& name)>;

  FlatpakInstances(EventLoop& loop, std::string directory, std::string procRoot, Changed changed,
                   Gone gone);
  ~FlatpakInstances();
  FlatpakInstances(const FlatpakInstances&) = delete;
  FlatpakInstances& operator=(const FlatpakInstances&) = delete;

  // Reads the instances and watches the directory; a failure when it does not exist yet (then
  // it starts once the first sandbox creates it).
  Status start();
  void refresh();

 private:
  static int OnChanged(sd_event_source*, const struct inotify_event* event, void* self);
  static int OnParentChanged(sd_event_source*, const struct inotify_event* event, void* self);
  void watch(const std::string& path, std::unique_ptr<sd_event_source, EventSourceDeleter>* slot,
             uint32_t mask);
  void scan();

  EventLoop& loop_;
  std::string directory_;
  std::string procRoot_;
  Changed changed_;
  Gone gone_;
  std::unique_ptr<sd_event_source, EventSourceDeleter> watch_;
  std::unique_ptr<sd_event_source, EventSourceDeleter> parentWatch_;
  // Instances seen: the live ones, and those still being set up with a watch of their own.
  std::map<std::string, FlatpakInstance> live_;
  std::map<std::string, std::unique_ptr<sd_event_source, EventSourceDeleter>> pending_;
};

}  // namespace tl::linuxdev
