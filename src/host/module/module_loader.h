// ModuleLoader: loads the event module and calls its entry with the host's handle.
#pragma once

#include <string>

#include "platform/module_handle.h"
#include "platform/platform.h"

namespace tl::host {

// The host's record of the module: the platform it runs on and the serial queue of its events.
class HostModuleHandle : public platform::ModuleHandle {
 public:
  HostModuleHandle(platform::Platform& platform, platform::SerialQueue& queue)
      : platform_(platform), queue_(queue) {}
  platform::Platform& platform() override { return platform_; }
  platform::SerialQueue& eventQueue() override { return queue_; }

 private:
  platform::Platform& platform_;
  platform::SerialQueue& queue_;
};

// The module stays loaded for the life of the process, as the daemon keeps its modules.
class ModuleLoader {
 public:
  explicit ModuleLoader(std::string path) : path_(std::move(path)) {}

  // Loads the module on first use and calls TLEventModuleInitializer; throws std::runtime_error
  // when the module or its entry cannot be found.
  void callEntry(platform::ModuleHandle& handle);
  bool loaded() const { return entry_ != nullptr; }

  // The module next to the running tallyd, or $TALLYD_MODULE.
  static std::string DefaultPath();

 private:
  std::string path_;
  void (*entry_)(void*) = nullptr;
};

}  // namespace tl::host
