// The session side's process-wide state.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/export.h"
#include "base/immortal.h"
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
  // Record file path -> write handle at its end, for the two record files; each file is opened
  // once and kept open.
  std::vector<std::pair<std::string, std::unique_ptr<platform::WriteHandle>>> openHandles;
  // The last bundle record key given out; starts at 0 with each process and each new bundle
  // record file.
  uint32_t keyCounter = 0;
};

extern TL_HIDDEN constinit Immortal<SessionsState> g_sessions;
inline SessionsState& Sessions() { return g_sessions.value; }

}  // namespace tl::sessions
