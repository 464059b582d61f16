// X11Windows: EWMH root properties read through xcb.
#include "platform/linux/windows/x11_windows.h"

#include <xcb/xcb.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <set>

namespace tl::linuxdev {

namespace {

// xcb hands out replies and events allocated with malloc.
struct FreeDeleter {
  void operator()(void* p) const { free(p); }  // NOLINT(cppcoreguidelines-no-malloc)
};
template <class T>
using XcbPtr = std::unique_ptr<T, FreeDeleter>;

constexpr uint32_t kPropertyLength = 1 << 16;  // in 32-bit units: plenty for any list here

}  // namespace

X11Windows::X11Windows(EventLoop& loop, ToplevelEvents events)
    : loop_(loop), events_(std::move(events)) {}

X11Windows::~X11Windows() { disconnect(); }

void X11Windows::disconnect() {
  source_.reset();
  if (connection_) xcb_disconnect(connection_);
  connection_ = nullptr;
}

uint32_t X11Windows::atom(const char* name) const {
  XcbPtr<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
      connection_, xcb_intern_atom(connection_, 0, static_cast<uint16_t>(std::strlen(name)), name),
      nullptr));
  return reply ? reply->atom : static_cast<uint32_t>(XCB_ATOM_NONE);
}

Status X11Windows::start() {
  const char* display = std::getenv("DISPLAY");
  if (!display || !*display) return Status::Error(ENOTCONN, "no X display");
  int screenNumber = 0;
  connection_ = xcb_connect(display, &screenNumber);
  if (xcb_connection_has_error(connection_)) {
    disconnect();
    return Status::Error(ECONNREFUSED, std::string("cannot connect to ") + display);
  }
  xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection_));
  for (int i = 0; i < screenNumber && screens.rem > 0; ++i) xcb_screen_next(&screens);
  root_ = screens.data->root;
  clientList_ = atom("_NET_CLIENT_LIST");
  activeWindow_ = atom("_NET_ACTIVE_WINDOW");
  wmPid_ = atom("_NET_WM_PID");
  gtkApplicationId_ = atom("_GTK_APPLICATION_ID");
  // The window manager announces every change of the two lists on the root window.
  const uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
  xcb_change_window_attributes(connection_, root_, XCB_CW_EVENT_MASK, &mask);
  sd_event_source* source = nullptr;
  if (const int r = sd_event_add_io(loop_.event(), &source, xcb_get_file_descriptor(connection_),
                                    EPOLLIN, OnReadable, this);
      r < 0) {
    disconnect();
    return Status::FromErrno(-r);
  }
  source_.reset(source);
  sync();
  drain();
  return connected() ? Status::OK() : Status::Error(ECONNRESET, "the X server went away");
}

std::vector<uint32_t> X11Windows::property32(uint32_t window, uint32_t property) const {
  XcbPtr<xcb_get_property_reply_t> reply(
      xcb_get_property_reply(connection_,
                             xcb_get_property(connection_, 0, window, property,
                                              XCB_GET_PROPERTY_TYPE_ANY, 0, kPropertyLength),
                             nullptr));
  if (!reply || reply->format != 32) return {};
  const auto* values = static_cast<const uint32_t*>(xcb_get_property_value(reply.get()));
  return {values, values + xcb_get_property_value_length(reply.get()) / 4};
}

std::string X11Windows::text(uint32_t window, uint32_t property) const {
  XcbPtr<xcb_get_property_reply_t> reply(
      xcb_get_property_reply(connection_,
                             xcb_get_property(connection_, 0, window, property,
                                              XCB_GET_PROPERTY_TYPE_ANY, 0, kPropertyLength),
                             nullptr));
  if (!reply || reply->format != 8) return {};
  return {static_cast<const char*>(xcb_get_property_value(reply.get())),
          static_cast<size_t>(xcb_get_property_value_length(reply.get()))};
}

Toplevel X11Windows::describe(uint32_t window) const {
  Toplevel toplevel;
  toplevel.appId = text(window, gtkApplicationId_);
  if (toplevel.appId.empty()) {
    // WM_CLASS holds "instance\0class\0"; the class names the application.
    const std::string wmClass = text(window, XCB_ATOM_WM_CLASS);
    const size_t end = wmClass.find('\0');
    if (end != std::string::npos)
      toplevel.appId = wmClass.substr(end + 1, wmClass.find('\0', end + 1) - end - 1);
  }
  const std::vector<uint32_t> pid = property32(window, wmPid_);
  if (!pid.empty() && pid[0] > 0 && pid[0] <= INT32_MAX)
    toplevel.pid = static_cast<int32_t>(pid[0]);
  return toplevel;
}

void X11Windows::sync() {
  const std::vector<uint32_t> clients = property32(root_, clientList_);
  const std::vector<uint32_t> active = property32(root_, activeWindow_);
  const uint32_t focused = active.empty() ? 0 : active[0];
  const std::set<uint32_t> present(clients.begin(), clients.end());
  for (auto it = windows_.begin(); it != windows_.end();) {
    if (present.count(it->first) != 0) {
      ++it;
      continue;
    }
    const uint32_t window = it->first;
    it = windows_.erase(it);
    events_.closed(window);
  }
  for (uint32_t window : clients) {
    auto known = windows_.find(window);
    if (known == windows_.end()) {
      Toplevel toplevel = describe(window);
      if (toplevel.appId.empty()) continue;  // not an application's window
      known = windows_.emplace(window, std::move(toplevel)).first;
      known->second.activated = !(window == focused);  // reported below
    }
    if (known->second.activated != (window == focused)) {
      known->second.activated = window == focused;
      events_.changed(window, known->second);
    }
  }
  events_.settled();
}

int X11Windows::OnReadable(sd_event_source*, int, uint32_t, void* self) {
  auto& windows = *static_cast<X11Windows*>(self);
  windows.loop_.assertOnLoopThread();
  windows.drain();
  return 0;
}

// The replies a sync waits for can bring events into xcb's queue that the descriptor no longer
// announces: drain until a pass changes nothing.
void X11Windows::drain() {
  for (;;) {
    bool changed = false;
    while (XcbPtr<xcb_generic_event_t> event{xcb_poll_for_event(connection_)}) {
      if ((event->response_type & 0x7f) != XCB_PROPERTY_NOTIFY) continue;
      const auto* notify = reinterpret_cast<const xcb_property_notify_event_t*>(event.get());
      changed = changed || (notify->window == root_ &&
                            (notify->atom == clientList_ || notify->atom == activeWindow_));
    }
    if (xcb_connection_has_error(connection_)) {
      disconnect();
      windows_.clear();
      events_.gone();
      return;
    }
    if (!changed) return;
    sync();
  }
}

}  // namespace tl::linuxdev
