// WaylandDisplay: a client connection to the compositor ($WAYLAND_DISPLAY) whose events are
// dispatched on the loop thread; the window-list sources each bind their global through one.
#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "platform/linux/loop/event_loop.h"

struct wl_display;
struct wl_registry;

namespace tl::linuxdev {

class WaylandDisplay {
 public:
  // Offered each global the compositor lists, to bind the one it wants.
  using Bind = std::function<void(wl_registry* registry, uint32_t name, std::string_view interface,
                                  uint32_t version)>;

  // lost runs when the compositor goes away or the connection fails: the owner destroys its
  // proxies and closes the display. dispatched runs after each batch of events read on the loop.
  WaylandDisplay(EventLoop& loop, std::function<void()> lost, std::function<void()> dispatched);
  ~WaylandDisplay() { close(); }
  WaylandDisplay(const WaylandDisplay&) = delete;
  WaylandDisplay& operator=(const WaylandDisplay&) = delete;

  // Connects and lists the globals (blocking); false without a compositor.
  bool open(Bind bind);
  // Waits until the compositor has handled every request so far and sent its answers.
  bool roundtrip();
  // From now on its events are dispatched on the loop.
  bool attach();
  // Disconnects; the owner destroys the proxies it made first.
  void close();
  bool isOpen() const { return display_ != nullptr; }

 private:
  static void OnGlobal(void* self, wl_registry* registry, uint32_t name, const char* interface,
                       uint32_t version);
  static int OnReadable(sd_event_source* source, int fd, uint32_t revents, void* self);

  EventLoop& loop_;
  std::function<void()> lost_;
  std::function<void()> dispatched_;
  Bind bind_;
  wl_display* display_ = nullptr;
  wl_registry* registry_ = nullptr;
  std::unique_ptr<sd_event_source, EventSourceDeleter> source_;
};

}  // namespace tl::linuxdev
