// The process-wide current platform.
#include "platform/platform.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace tl::platform {

namespace {
std::atomic<Platform*> g_current{nullptr};
}

Platform& Current() {
  Platform* p = g_current.load(std::memory_order_acquire);
  if (!p) {
    std::fputs("tallyline: no platform is current\n", stderr);
    std::abort();
  }
  return *p;
}

void MakeCurrent(Platform* platform) { g_current.store(platform, std::memory_order_release); }

}  // namespace tl::platform
