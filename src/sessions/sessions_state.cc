// The session side's process-wide state.
#include "sessions/sessions_state.h"

#include "base/no_destructor.h"

namespace tl::sessions {

SessionsState& Sessions() {
  static NoDestructor<SessionsState> state;
  return *state;
}

}  // namespace tl::sessions
