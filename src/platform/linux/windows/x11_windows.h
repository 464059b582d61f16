// X11Windows: the application windows of an X11 session, from the window manager's root
// properties (_NET_CLIENT_LIST, _NET_ACTIVE_WINDOW) and their property events, on the loop
// thread.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/loop/event_loop.h"
#include "platform/linux/windows/toplevel_events.h"

struct xcb_connection_t;

namespace tl::linuxdev {

class X11Windows : public ToplevelSource {
 public:
  X11Windows(EventLoop& loop, ToplevelEvents events);
  ~X11Windows() override;
  X11Windows(const X11Windows&) = delete;
  X11Windows& operator=(const X11Windows&) = delete;

  // Connects to $DISPLAY; false without an X server.
  Status start() override;
  bool connected() const override { return connection_ != nullptr; }

 private:
  static int OnReadable(sd_event_source* source, int fd, uint32_t revents, void* self);
  uint32_t atom(const char* name) const;
  std::vector<uint32_t> property32(uint32_t window, uint32_t property) const;
  std::string text(uint32_t window, uint32_t property) const;
  // The app ID and pid of a client window: _GTK_APPLICATION_ID, else WM_CLASS's class.
  Toplevel describe(uint32_t window) const;
  // Reads the client list and the active window again and reports what changed.
  void sync();
  void drain();
  void disconnect();

  EventLoop& loop_;
  ToplevelEvents events_;
  xcb_connection_t* connection_ = nullptr;
  uint32_t root_ = 0;
  uint32_t clientList_ = 0, activeWindow_ = 0, wmPid_ = 0, gtkApplicationId_ = 0;
  std::unique_ptr<sd_event_source, EventSourceDeleter> source_;
  std::map<uint32_t, Toplevel> windows_;  // as last reported, by window
};

}  // namespace tl::linuxdev
