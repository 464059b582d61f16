// The session side's process-wide state.
#include "sessions/sessions_state.h"

namespace tl::sessions {

constinit Immortal<SessionsState> g_sessions;

}  // namespace tl::sessions
