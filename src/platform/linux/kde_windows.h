// KdeWindows: the windows of KWin (Plasma, Plasma Mobile) through its window-management protocol,
// on the loop thread. KWin lets only clients whose desktop file lists the interface in
// X-KDE-Wayland-Interfaces bind it (packaging/tallyd.desktop).
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "platform/linux/event_loop.h"
#include "platform/linux/toplevel_events.h"
#include "platform/linux/wayland_display.h"

struct wl_registry;
struct org_kde_plasma_window_management;
struct org_kde_plasma_window;

namespace tl::linuxdev {

class KdeWindows : public ToplevelSource {
 public:
  KdeWindows(EventLoop& loop, ToplevelEvents events);
  ~KdeWindows() override;
  KdeWindows(const KdeWindows&) = delete;
  KdeWindows& operator=(const KdeWindows&) = delete;

  // Connects to $WAYLAND_DISPLAY; false without a compositor that offers the interface.
  bool start() override;
  bool connected() const override { return display_.isOpen(); }

 private:
  struct Window {
    KdeWindows* owner;
    uint64_t number;
    org_kde_plasma_window* proxy;
    std::string appId;
    bool activated = false;
    int32_t pid = 0;
    bool complete = false;  // its initial state has arrived
  };
  void bind(wl_registry* registry, uint32_t name, std::string_view interface, uint32_t version);
  static void OnWindow(void* self, org_kde_plasma_window_management*, uint32_t id);
  static void OnWindowWithUuid(void* self, org_kde_plasma_window_management*, uint32_t id,
                               const char* uuid);
  static void OnAppId(void* window, org_kde_plasma_window*, const char* appId);
  static void OnState(void* window, org_kde_plasma_window*, uint32_t flags);
  static void OnPid(void* window, org_kde_plasma_window*, uint32_t pid);
  static void OnInitialState(void* window, org_kde_plasma_window*);
  static void OnUnmapped(void* window, org_kde_plasma_window*);
  void track(org_kde_plasma_window* proxy);
  static void Report(Window& window);
  void disconnect();

  ToplevelEvents events_;
  WaylandDisplay display_;
  org_kde_plasma_window_management* manager_ = nullptr;
  uint32_t version_ = 0;
  std::map<uint64_t, std::unique_ptr<Window>> windows_;
  uint64_t next_ = 1;
};

}  // namespace tl::linuxdev
