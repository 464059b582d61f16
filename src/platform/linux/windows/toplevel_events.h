// Toplevel: a window a compositor lists; ToplevelEvents: what a compositor source reports of its
// windows, whichever protocol it reads; ToplevelSource: such a source.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "base/status.h"

namespace tl::linuxdev {

// A window the compositor lists. pid is 0 where the compositor does not say (wlroots).
struct Toplevel {
  std::string appId;
  bool activated = false;
  int32_t pid = 0;
};

struct ToplevelEvents {
  // A window appeared or changed; handle is the source's own number for it.
  std::function<void(uint64_t handle, Toplevel toplevel)> changed;
  std::function<void(uint64_t handle)> closed;
  // The compositor went away, with every window it listed.
  std::function<void()> gone;
  // The changes told since the last call came together (one batch of the compositor's events,
  // or a window whose moment of appearing ended): the applications' states settle now.
  std::function<void()> settled;
};

class ToplevelSource {
 public:
  virtual ~ToplevelSource() = default;
  // Connects and reads the present windows (blocking, before the loop runs or on the loop
  // thread); false when the session offers no window list of this kind.
  virtual Status start() = 0;
  // Whether it is still connected: false after its compositor or server went away.
  virtual bool connected() const = 0;
};

}  // namespace tl::linuxdev
