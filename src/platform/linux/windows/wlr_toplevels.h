// WlrToplevels: the windows of a wlroots compositor (phoc, sway) through the foreign-toplevel
// management protocol, on the loop thread.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "platform/linux/loop/event_loop.h"
#include "platform/linux/windows/toplevel_events.h"
#include "platform/linux/windows/wayland_display.h"

struct wl_array;
struct wl_registry;
struct zwlr_foreign_toplevel_manager_v1;
struct zwlr_foreign_toplevel_handle_v1;

namespace tl::linuxdev {

class WlrToplevels : public ToplevelSource {
 public:
  WlrToplevels(EventLoop& loop, ToplevelEvents events);
  ~WlrToplevels() override;
  WlrToplevels(const WlrToplevels&) = delete;
  WlrToplevels& operator=(const WlrToplevels&) = delete;

  // Connects to $WAYLAND_DISPLAY and reads the present windows (blocking, before the loop
  // runs). false when there is no compositor or it does not offer the protocol.
  Status start() override;
  bool connected() const override { return display_.isOpen(); }

 private:
  struct Handle {
    WlrToplevels* owner;
    uint64_t number;
    zwlr_foreign_toplevel_handle_v1* proxy;
    std::string appId;
    bool activated = false;
  };
  static void OnToplevel(void* self, zwlr_foreign_toplevel_manager_v1* manager,
                         zwlr_foreign_toplevel_handle_v1* proxy);
  static void OnFinished(void* self, zwlr_foreign_toplevel_manager_v1* manager);
  static void OnAppId(void* handle, zwlr_foreign_toplevel_handle_v1*, const char* appId);
  static void OnState(void* handle, zwlr_foreign_toplevel_handle_v1*, ::wl_array* state);
  static void OnDone(void* handle, zwlr_foreign_toplevel_handle_v1*);
  static void OnClosed(void* handle, zwlr_foreign_toplevel_handle_v1*);
  void disconnect();

  ToplevelEvents events_;
  WaylandDisplay display_;
  zwlr_foreign_toplevel_manager_v1* manager_ = nullptr;
  std::map<uint64_t, std::unique_ptr<Handle>> handles_;
  uint64_t next_ = 1;
};

}  // namespace tl::linuxdev
