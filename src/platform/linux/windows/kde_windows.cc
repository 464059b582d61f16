// KdeWindows: the window-management protocol's listeners.
#include "platform/linux/windows/kde_windows.h"

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
// The protocol's version that lists the stacking order by UUID.
constexpr uint32_t kStackVersion = 12;
// The newest version whose events the listeners below cover.
constexpr uint32_t kHighestVersion = 16;

}  // namespace

KdeWindows::KdeWindows(EventLoop& loop, ToplevelEvents events)
    : loop_(loop),
      events_(std::move(events)),
      display_(
          loop,
          [this] {
            disconnect();
            events_.gone();
          },
          [this] { dispatched(); }) {}

KdeWindows::~KdeWindows() { disconnect(); }

void KdeWindows::dispatched() {
  // A window announced as another loses the focus has its state one round trip later: the
  // batch settles once every window announced has told it, or a new window of the same
  // application would be seen after its other window stopped being active.
  const bool waiting =
      std::ranges::any_of(windows_, [](const auto& entry) { return !entry.second->complete; });
  if (!waiting) events_.settled();
}

void KdeWindows::disconnect() {
  for (auto& [number, window] : windows_) org_kde_plasma_window_destroy(window->proxy);
  windows_.clear();
  if (manager_) org_kde_plasma_window_management_destroy(manager_);
  manager_ = nullptr;
  display_.close();
}

Status KdeWindows::start() {
  const bool opened =
      display_.open([this](wl_registry* registry, uint32_t name, std::string_view interface,
                           uint32_t version) { bind(registry, name, interface, version); });
  // Then the windows already open and the stacking order, then their initial states.
  Status status = opened ? Status::OK() : Status::Error(ENOTCONN, "no Wayland compositor");
  if (status.ok() && !manager_) status = Status::Error(ENOENT, "no window management offered");
  if (status.ok() && (!display_.roundtrip() || !display_.roundtrip() || !display_.attach())) {
    status = Status::Error(ECONNRESET, "the compositor went away");
  }
  if (!status.ok()) {
    disconnect();
    return status;
  }
  // The windows shown now were there before the start: none of them is appearing. Without a
  // stacking order every window counts as shown once its initial state has come.
  starting_ = false;
  for (auto& [number, window] : windows_) {
    window->shown = !stackHeard_ || stack_.contains(window->uuid);
    window->appeared = window->shown;
    update(*window);
  }
  return Status::OK();
}

void KdeWindows::bind(wl_registry* registry, uint32_t name, std::string_view interface,
                      uint32_t version) {
  if (interface != org_kde_plasma_window_management_interface.name) return;
  static const org_kde_plasma_window_management_listener kManager = {
      .show_desktop_changed = Ignored<void*, org_kde_plasma_window_management*, uint32_t>,
      .window = OnWindow,
      .stacking_order_changed = Ignored<void*, org_kde_plasma_window_management*, wl_array*>,
      .stacking_order_uuid_changed = OnStackingOrder,
      .window_with_uuid = OnWindowWithUuid,
  };
  version_ = std::min(version, kHighestVersion);
  manager_ = static_cast<org_kde_plasma_window_management*>(
      wl_registry_bind(registry, name, &org_kde_plasma_window_management_interface, version_));
  org_kde_plasma_window_management_add_listener(manager_, &kManager, this);
}

void KdeWindows::OnWindow(void* self, org_kde_plasma_window_management* manager, uint32_t id) {
  auto* owner = static_cast<KdeWindows*>(self);
  owner->loop_.assertOnLoopThread();
  if (owner->version_ >= kUuidVersion) return;  // announced again with its UUID
  owner->track(org_kde_plasma_window_management_get_window(manager, id), {});
}

void KdeWindows::OnWindowWithUuid(void* self, org_kde_plasma_window_management* manager, uint32_t,
                                  const char* uuid) {
  auto* owner = static_cast<KdeWindows*>(self);
  owner->loop_.assertOnLoopThread();
  owner->track(org_kde_plasma_window_management_get_window_by_uuid(manager, uuid), uuid);
}

void KdeWindows::OnStackingOrder(void* self, org_kde_plasma_window_management*, const char* uuids) {
  auto& owner = *static_cast<KdeWindows*>(self);
  owner.loop_.assertOnLoopThread();
  if (owner.version_ < kStackVersion) return;
  owner.stackHeard_ = true;
  owner.stack_.clear();
  for (std::string_view rest = uuids; !rest.empty();) {
    const size_t end = std::min(rest.find(';'), rest.size());
    if (end > 0) owner.stack_.emplace(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  if (owner.starting_) return;
  for (auto& [number, window] : owner.windows_) {
    if (window->shown || !owner.stack_.contains(window->uuid)) continue;
    window->shown = true;
    owner.update(*window);
  }
}

void KdeWindows::track(org_kde_plasma_window* proxy, std::string uuid) {
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
  auto window = std::make_unique<Window>();
  window->owner = this;
  window->number = next_++;
  window->proxy = proxy;
  window->uuid = std::move(uuid);
  // Before version 4 there is no initial state: each change stands on its own.
  window->complete = version_ < 4;
  window->shown = !stackHeard_ || stack_.contains(window->uuid);
  org_kde_plasma_window_add_listener(proxy, &kWindow, window.get());
  windows_.emplace(window->number, std::move(window));
}

void KdeWindows::update(Window& window) {
  if (starting_ || !window.complete || !window.shown || window.appId.empty()) return;
  if (!window.told && !window.activated && !window.appeared) {
    if (window.appearing) return;
    sd_event_source* source = nullptr;
    const auto usec = std::chrono::duration_cast<std::chrono::microseconds>(kAppearing).count();
    if (sd_event_add_time_relative(loop_.event(), &source, CLOCK_MONOTONIC, usec, 10'000,
                                   OnAppeared, &window) >= 0) {
      window.appearing.reset(source);
      return;
    }
    window.appeared = true;  // no timer: told as it is now
  }
  window.appearing.reset();
  window.told = true;
  events_.changed(window.number, Toplevel{window.appId, window.activated, window.pid});
}

int KdeWindows::OnAppeared(sd_event_source*, uint64_t, void* data) {
  auto& window = *static_cast<Window*>(data);
  window.owner->loop_.assertOnLoopThread();
  window.appeared = true;
  window.owner->update(window);
  // Settles as a batch does: not while another window announced has yet to tell its state.
  window.owner->dispatched();
  return 0;
}

void KdeWindows::OnAppId(void* data, org_kde_plasma_window*, const char* appId) {
  auto& window = *static_cast<Window*>(data);
  window.owner->loop_.assertOnLoopThread();
  window.appId = appId;
  window.owner->update(window);
}

void KdeWindows::OnState(void* data, org_kde_plasma_window*, uint32_t flags) {
  auto& window = *static_cast<Window*>(data);
  window.owner->loop_.assertOnLoopThread();
  const bool activated = (flags & ORG_KDE_PLASMA_WINDOW_MANAGEMENT_STATE_ACTIVE) != 0;
  if (activated == window.activated && window.complete) return;  // another flag changed
  window.activated = activated;
  window.owner->update(window);
}

void KdeWindows::OnPid(void* data, org_kde_plasma_window*, uint32_t pid) {
  auto& window = *static_cast<Window*>(data);
  window.owner->loop_.assertOnLoopThread();
  window.pid = pid <= INT32_MAX ? static_cast<int32_t>(pid) : 0;
}

void KdeWindows::OnInitialState(void* data, org_kde_plasma_window*) {
  auto& window = *static_cast<Window*>(data);
  window.owner->loop_.assertOnLoopThread();
  window.complete = true;
  window.owner->update(window);
}

void KdeWindows::OnUnmapped(void* data, org_kde_plasma_window*) {
  auto& window = *static_cast<Window*>(data);
  window.owner->loop_.assertOnLoopThread();
  KdeWindows* owner = window.owner;
  // A window shown and closed within its moment of appearing was still seen.
  window.appeared = true;
  owner->update(window);
  const uint64_t number = window.number;
  const bool told = window.told;
  org_kde_plasma_window_destroy(window.proxy);
  owner->windows_.erase(number);
  if (told) owner->events_.closed(number);
}

}  // namespace tl::linuxdev
