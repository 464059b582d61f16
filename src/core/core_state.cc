// The core's process-wide state.
#include "core/core_state.h"

#include "base/no_destructor.h"
#include "core/tl_event_listener.h"

namespace tl::core {

CoreState& Core() {
  static NoDestructor<CoreState> state;
  return *state;
}

void KeepForProcess(std::unique_ptr<platform::Registration> registration) {
  if (!registration) return;
  CoreState& core = Core();
  std::lock_guard lock(core.keptLock);
  core.kept.push_back(std::move(registration));
}

}  // namespace tl::core
