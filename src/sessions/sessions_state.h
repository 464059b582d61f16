// The session side's process-wide state.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "platform/file_system.h"

namespace tl::sessions {

// One per process. Touched only on the session listener's serial queue, which is why none of it
// is locked.
struct SessionsState {
  // TLBundleSession's class-wide debug flag, switched on by the "debug-spew" preference.
  bool debugLogging = false;
  // The one variable every named-notification registration of the session listener writes its
  // token into; none is cancelled, so no token is read again.
  int32_t notifyToken = 0;
  // Record file path -> write handle at its end; each file is opened once and kept open.
  std::map<std::string, std::unique_ptr<platform::WriteHandle>, std::less<>> openHandles;
  // The last bundle record key given out; starts at 0 with each process and each new bundle
  // record file.
  uint32_t keyCounter = 0;
};

SessionsState& Sessions();

}  // namespace tl::sessions
