// ToplevelEvents: what a compositor source reports of its windows, whichever protocol it reads.
#pragma once

#include <cstdint>
#include <functional>

#include "platform/linux/app_run_states.h"

namespace tl::linuxdev {

struct ToplevelEvents {
  // A window appeared or changed; handle is the source's own number for it.
  std::function<void(uint64_t handle, Toplevel toplevel)> changed;
  std::function<void(uint64_t handle)> closed;
  // The compositor went away, with every window it listed.
  std::function<void()> gone;
};

}  // namespace tl::linuxdev
