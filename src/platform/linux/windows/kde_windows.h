// KdeWindows: the windows of KWin (Plasma, Plasma Mobile) through its window-management protocol,
// on the loop thread. KWin lets only clients whose desktop file lists the interface in
// X-KDE-Wayland-Interfaces bind it (packaging/tallyd.desktop).
//
// KWin announces a window as soon as its client creates it, not yet shown and not active; it
// shows it when the client maps it and activates it then, a moment or seconds later. A window is
// told once it is shown (in the stacking order), and a window shown inactive is held for
// kAppearing first, so that a window the compositor activates as it appears is told as appearing
// active, as other compositors tell it (docs/LINUX.md, "Windows that appear").
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "platform/linux/loop/event_loop.h"
#include "platform/linux/windows/toplevel_events.h"
#include "platform/linux/windows/wayland_display.h"

struct wl_registry;
struct org_kde_plasma_window_management;
struct org_kde_plasma_window;

namespace tl::linuxdev {

// How long after it is shown a window's activation still counts as its appearing active.
inline constexpr std::chrono::milliseconds kAppearing{500};

class KdeWindows : public ToplevelSource {
 public:
  KdeWindows(EventLoop& loop, ToplevelEvents events);
  ~KdeWindows() override;
  KdeWindows(const KdeWindows&) = delete;
  KdeWindows& operator=(const KdeWindows&) = delete;

  // Connects to $WAYLAND_DISPLAY; false without a compositor that offers the interface.
  Status start() override;
  bool connected() const override { return display_.isOpen(); }

 private:
  struct Window {
    KdeWindows* owner = nullptr;
    uint64_t number = 0;
    org_kde_plasma_window* proxy = nullptr;
    std::string uuid;
    std::string appId;
    bool activated = false;
    int32_t pid = 0;
    bool complete = false;  // its initial state has arrived
    bool shown = false;     // mapped: the compositor lists it in the stacking order
    bool appeared = false;  // its moment of appearing is over, or it was open before the start
    bool told = false;
    std::unique_ptr<sd_event_source, EventSourceDeleter> appearing;
  };
  void bind(wl_registry* registry, uint32_t name, std::string_view interface, uint32_t version);
  static void OnWindow(void* self, org_kde_plasma_window_management*, uint32_t id);
  static void OnWindowWithUuid(void* self, org_kde_plasma_window_management*, uint32_t id,
                               const char* uuid);
  static void OnStackingOrder(void* self, org_kde_plasma_window_management*, const char* uuids);
  static void OnAppId(void* window, org_kde_plasma_window*, const char* appId);
  static void OnState(void* window, org_kde_plasma_window*, uint32_t flags);
  static void OnPid(void* window, org_kde_plasma_window*, uint32_t pid);
  static void OnInitialState(void* window, org_kde_plasma_window*);
  static void OnUnmapped(void* window, org_kde_plasma_window*);
  static int OnAppeared(sd_event_source*, uint64_t, void* window);
  void track(org_kde_plasma_window* proxy, std::string uuid);
  // Tells the window's state once it is complete and shown, and past its appearing or active.
  void update(Window& window);
  void dispatched();
  void disconnect();

  EventLoop& loop_;
  ToplevelEvents events_;
  WaylandDisplay display_;
  org_kde_plasma_window_management* manager_ = nullptr;
  uint32_t version_ = 0;
  bool starting_ = true;
  bool stackHeard_ = false;  // the compositor lists its stacking order (on bind and each change)
  std::set<std::string, std::less<>> stack_;
  std::map<uint64_t, std::unique_ptr<Window>> windows_;
  uint64_t next_ = 1;
};

}  // namespace tl::linuxdev
