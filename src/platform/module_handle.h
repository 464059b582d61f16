// ModuleHandle: what the host hands the module's entry, as an opaque pointer.
#pragma once

namespace tl::platform {

class Platform;
class SerialQueue;

// Implemented by the host. It outlives the module: the host keeps it for the process.
class ModuleHandle {
 public:
  virtual ~ModuleHandle() = default;
  // The platform the host made current before the entry runs.
  virtual Platform& platform() = 0;
  // The host's serial queue on which it delivers this module's events.
  virtual SerialQueue& eventQueue() = 0;
};

}  // namespace tl::platform
