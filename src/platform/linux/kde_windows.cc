// KdeWindows: the window-management protocol's listeners and the display's descriptor on the
// loop.
#include "platform/linux/kde_windows.h"

#include <wayland-client.h>

#include <algorithm>
#include <cerrno>

#include "plasma-window-management-client-protocol.h"

namespace tl::linuxdev {

namespace {

template <class... A>
void Ignored(A...) {}

// The protocol's version that announces windows by UUID; older compositors give numbers.
constexpr uint32_t kUuidVersion = 13;
// The newest version whose events the listeners below cover.
constexpr uint32_t kHighestVersion = 16;

}  // namespace

KdeWindows::KdeWindows(EventLoop& loop, ToplevelEvents events)
    : loop_(loop), events_(std::move(events)) {}

KdeWindows::~KdeWindows() { disconnect(); }

void KdeWindows::disconnect() {
  source_.reset();
  for (auto& [number, window] : windows_) org_kde_plasma_window_destroy(window->proxy);
  windows_.clear();
  if (manager_) org_kde_plasma_window_management_destroy(manager_);
  manager_ = nullptr;
  if (registry_) wl_registry_destroy(registry_);
  registry_ = nullptr;
  if (display_) wl_display_disconnect(display_);
  display_ = nullptr;
}

bool KdeWindows::start() {
  display_ = wl_display_connect(nullptr);
  if (!display_) return false;
  static const wl_registry_listener kRegistry = {OnGlobal, Ignored<void*, wl_registry*, uint32_t>};
  registry_ = wl_display_get_registry(display_);
  wl_registry_add_listener(registry_, &kRegistry, this);
  // Globals, then the windows already open, then their initial states.
  if (wl_display_roundtrip(display_) < 0 || !manager_ || wl_display_roundtrip(display_) < 0 ||
      wl_display_roundtrip(display_) < 0) {
    disconnect();
    return false;
  }
  sd_event_source* source = nullptr;
  if (sd_event_add_io(loop_.event(), &source, wl_display_get_fd(display_), EPOLLIN, OnReadable,
                      this) < 0) {
    disconnect();
    return false;
  }
  source_.reset(source);
  return true;
}

void KdeWindows::OnGlobal(void* self, wl_registry* registry, uint32_t name, const char* interface,
                          uint32_t version) {
  auto* owner = static_cast<KdeWindows*>(self);
  if (std::string_view(interface) != org_kde_plasma_window_management_interface.name) return;
  static const org_kde_plasma_window_management_listener kManager = {
      .show_desktop_changed = Ignored<void*, org_kde_plasma_window_management*, uint32_t>,
      .window = OnWindow,
      .stacking_order_changed = Ignored<void*, org_kde_plasma_window_management*, wl_array*>,
      .stacking_order_uuid_changed = Ignored<void*, org_kde_plasma_window_management*, const char*>,
      .window_with_uuid = OnWindowWithUuid,
  };
  owner->version_ = std::min(version, kHighestVersion);
  owner->manager_ = static_cast<org_kde_plasma_window_management*>(wl_registry_bind(
      registry, name, &org_kde_plasma_window_management_interface, owner->version_));
  org_kde_plasma_window_management_add_listener(owner->manager_, &kManager, owner);
}

void KdeWindows::OnWindow(void* self, org_kde_plasma_window_management* manager, uint32_t id) {
  auto* owner = static_cast<KdeWindows*>(self);
  if (owner->version_ >= kUuidVersion) return;  // announced again with its UUID
  owner->track(org_kde_plasma_window_management_get_window(manager, id));
}

void KdeWindows::OnWindowWithUuid(void* self, org_kde_plasma_window_management* manager, uint32_t,
                                  const char* uuid) {
  static_cast<KdeWindows*>(self)->track(
      org_kde_plasma_window_management_get_window_by_uuid(manager, uuid));
}

void KdeWindows::track(org_kde_plasma_window* proxy) {
  using W = org_kde_plasma_window;
  static const org_kde_plasma_window_listener kWindow = {
      .title_changed = Ignored<void*, W*, const char*>,
      .app_id_changed = OnAppId,
      .state_changed = OnState,
      .virtual_desktop_changed = Ignored<void*, W*, int32_t>,
      .themed_icon_name_changed = Ignored<void*, W*, const char*>,
      .unmapped = OnUnmapped,
      .initial_state = OnInitialState,
      .parent_window = Ignored<void*, W*, W*>,
      .geometry = Ignored<void*, W*, int32_t, int32_t, uint32_t, uint32_t>,
      .icon_changed = Ignored<void*, W*>,
      .pid_changed = OnPid,
      .virtual_desktop_entered = Ignored<void*, W*, const char*>,
      .virtual_desktop_left = Ignored<void*, W*, const char*>,
      .application_menu = Ignored<void*, W*, const char*, const char*>,
      .activity_entered = Ignored<void*, W*, const char*>,
      .activity_left = Ignored<void*, W*, const char*>,
      .resource_name_changed = Ignored<void*, W*, const char*>,
  };
  auto window = std::make_unique<Window>(Window{this, next_++, proxy, {}, false, 0, false});
  // Before version 4 there is no initial state: each change stands on its own.
  window->complete = version_ < 4;
  org_kde_plasma_window_add_listener(proxy, &kWindow, window.get());
  windows_.emplace(window->number, std::move(window));
}

void KdeWindows::Report(Window& window) {
  if (!window.complete || window.appId.empty()) return;
  window.owner->events_.changed(window.number,
                                Toplevel{window.appId, window.activated, window.pid});
}

void KdeWindows::OnAppId(void* data, org_kde_plasma_window*, const char* appId) {
  auto& window = *static_cast<Window*>(data);
  window.appId = appId;
  Report(window);
}

void KdeWindows::OnState(void* data, org_kde_plasma_window*, uint32_t flags) {
  auto& window = *static_cast<Window*>(data);
  const bool activated = (flags & ORG_KDE_PLASMA_WINDOW_MANAGEMENT_STATE_ACTIVE) != 0;
  if (activated == window.activated && window.complete) return;  // another flag changed
  window.activated = activated;
  Report(window);
}

void KdeWindows::OnPid(void* data, org_kde_plasma_window*, uint32_t pid) {
  auto& window = *static_cast<Window*>(data);
  window.pid = pid <= INT32_MAX ? static_cast<int32_t>(pid) : 0;
}

void KdeWindows::OnInitialState(void* data, org_kde_plasma_window*) {
  auto& window = *static_cast<Window*>(data);
  window.complete = true;
  Report(window);
}

void KdeWindows::OnUnmapped(void* data, org_kde_plasma_window*) {
  auto& window = *static_cast<Window*>(data);
  KdeWindows* owner = window.owner;
  const uint64_t number = window.number;
  const bool reported = window.complete && !window.appId.empty();
  org_kde_plasma_window_destroy(window.proxy);
  owner->windows_.erase(number);
  if (reported) owner->events_.closed(number);
}

int KdeWindows::OnReadable(sd_event_source*, int, uint32_t revents, void* self) {
  auto* owner = static_cast<KdeWindows*>(self);
  if ((revents & (EPOLLHUP | EPOLLERR)) || wl_display_dispatch(owner->display_) < 0 ||
      (wl_display_flush(owner->display_) < 0 && errno != EAGAIN)) {
    owner->disconnect();
    owner->events_.gone();
  }
  return 0;
}

}  // namespace tl::linuxdev
