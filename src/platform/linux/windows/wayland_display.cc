// WaylandDisplay: connecting, the registry and the display's descriptor on the loop.
#include "platform/linux/windows/wayland_display.h"

#include <wayland-client.h>

#include <cerrno>

namespace tl::linuxdev {

WaylandDisplay::WaylandDisplay(EventLoop& loop, std::function<void()> lost,
                               std::function<void()> dispatched)
    : loop_(loop), lost_(std::move(lost)), dispatched_(std::move(dispatched)) {}

bool WaylandDisplay::open(Bind bind) {
  display_ = wl_display_connect(nullptr);
  if (!display_) return false;
  bind_ = std::move(bind);
  static const wl_registry_listener kRegistry = {
      OnGlobal, [](void*, wl_registry*, uint32_t) {}};  // a global's removal: nothing bound goes
  registry_ = wl_display_get_registry(display_);
  wl_registry_add_listener(registry_, &kRegistry, this);
  if (!roundtrip()) {
    close();
    return false;
  }
  return true;
}

bool WaylandDisplay::roundtrip() { return display_ && wl_display_roundtrip(display_) >= 0; }

bool WaylandDisplay::attach() {
  sd_event_source* source = nullptr;
  if (!display_ || sd_event_add_io(loop_.event(), &source, wl_display_get_fd(display_), EPOLLIN,
                                   OnReadable, this) < 0) {
    return false;
  }
  source_.reset(source);
  return true;
}

void WaylandDisplay::close() {
  source_.reset();
  if (registry_) wl_registry_destroy(registry_);
  registry_ = nullptr;
  if (display_) wl_display_disconnect(display_);
  display_ = nullptr;
}

void WaylandDisplay::OnGlobal(void* self, wl_registry* registry, uint32_t name,
                              const char* interface, uint32_t version) {
  auto* display = static_cast<WaylandDisplay*>(self);
  display->loop_.assertOnLoopThread();
  display->bind_(registry, name, interface, version);
}

int WaylandDisplay::OnReadable(sd_event_source*, int, uint32_t revents, void* self) {
  auto* display = static_cast<WaylandDisplay*>(self);
  display->loop_.assertOnLoopThread();
  if ((revents & (EPOLLHUP | EPOLLERR)) || wl_display_dispatch(display->display_) < 0 ||
      (wl_display_flush(display->display_) < 0 && errno != EAGAIN)) {
    display->lost_();
    return 0;
  }
  display->dispatched_();
  return 0;
}

}  // namespace tl::linuxdev
