// WlrToplevels: the protocol's listeners and the display's descriptor on the loop.
#include "platform/linux/wlr_toplevels.h"

#include <wayland-client.h>

#include <algorithm>
#include <cerrno>

#include "wlr-foreign-toplevel-management-unstable-v1-client-protocol.h"

namespace tl::linuxdev {

namespace {

template <class... A>
void Ignored(A...) {}

}  // namespace

WlrToplevels::WlrToplevels(EventLoop& loop, ToplevelEvents events)
    : loop_(loop), events_(std::move(events)) {}

WlrToplevels::~WlrToplevels() { disconnect(); }

void WlrToplevels::disconnect() {
  source_.reset();
  for (auto& [number, handle] : handles_) zwlr_foreign_toplevel_handle_v1_destroy(handle->proxy);
  handles_.clear();
  if (manager_) zwlr_foreign_toplevel_manager_v1_destroy(manager_);
  manager_ = nullptr;
  if (registry_) wl_registry_destroy(registry_);
  registry_ = nullptr;
  if (display_) wl_display_disconnect(display_);
  display_ = nullptr;
}

bool WlrToplevels::start() {
  display_ = wl_display_connect(nullptr);
  if (!display_) return false;
  static const wl_registry_listener kRegistry = {OnGlobal, Ignored<void*, wl_registry*, uint32_t>};
  registry_ = wl_display_get_registry(display_);
  wl_registry_add_listener(registry_, &kRegistry, this);
  // The first round trip announces the globals, the second the windows already open.
  if (wl_display_roundtrip(display_) < 0 || !manager_ || wl_display_roundtrip(display_) < 0) {
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

void WlrToplevels::OnGlobal(void* self, wl_registry* registry, uint32_t name, const char* interface,
                            uint32_t version) {
  auto* owner = static_cast<WlrToplevels*>(self);
  if (std::string_view(interface) != zwlr_foreign_toplevel_manager_v1_interface.name) return;
  static const zwlr_foreign_toplevel_manager_v1_listener kManager = {OnToplevel, OnFinished};
  owner->manager_ = static_cast<zwlr_foreign_toplevel_manager_v1*>(wl_registry_bind(
      registry, name, &zwlr_foreign_toplevel_manager_v1_interface, std::min(version, 3u)));
  zwlr_foreign_toplevel_manager_v1_add_listener(owner->manager_, &kManager, owner);
}

void WlrToplevels::OnToplevel(void* self, zwlr_foreign_toplevel_manager_v1*,
                              zwlr_foreign_toplevel_handle_v1* proxy) {
  auto* owner = static_cast<WlrToplevels*>(self);
  static const zwlr_foreign_toplevel_handle_v1_listener kHandle = {
      .title = Ignored<void*, zwlr_foreign_toplevel_handle_v1*, const char*>,
      .app_id = OnAppId,
      .output_enter = Ignored<void*, zwlr_foreign_toplevel_handle_v1*, wl_output*>,
      .output_leave = Ignored<void*, zwlr_foreign_toplevel_handle_v1*, wl_output*>,
      .state = OnState,
      .done = OnDone,
      .closed = OnClosed,
      .parent = Ignored<void*, zwlr_foreign_toplevel_handle_v1*, zwlr_foreign_toplevel_handle_v1*>,
  };
  auto handle = std::make_unique<Handle>(Handle{owner, owner->next_++, proxy, {}, false});
  zwlr_foreign_toplevel_handle_v1_add_listener(proxy, &kHandle, handle.get());
  owner->handles_.emplace(handle->number, std::move(handle));
}

void WlrToplevels::OnFinished(void* self, zwlr_foreign_toplevel_manager_v1*) {
  auto* owner = static_cast<WlrToplevels*>(self);
  zwlr_foreign_toplevel_manager_v1_destroy(owner->manager_);
  owner->manager_ = nullptr;
}

void WlrToplevels::OnAppId(void* data, zwlr_foreign_toplevel_handle_v1*, const char* appId) {
  static_cast<Handle*>(data)->appId = appId;
}

void WlrToplevels::OnState(void* data, zwlr_foreign_toplevel_handle_v1*, wl_array* state) {
  auto* handle = static_cast<Handle*>(data);
  handle->activated = false;
  const auto* begin = static_cast<const uint32_t*>(state->data);
  const auto* end = begin + state->size / sizeof(uint32_t);
  handle->activated = std::find(begin, end, ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_ACTIVATED) != end;
}

// Changes come in batches closed by done: only then is the window's state whole.
void WlrToplevels::OnDone(void* data, zwlr_foreign_toplevel_handle_v1*) {
  auto* handle = static_cast<Handle*>(data);
  if (handle->appId.empty()) return;  // not yet an application's window
  handle->owner->events_.changed(handle->number, Toplevel{handle->appId, handle->activated, 0});
}

void WlrToplevels::OnClosed(void* data, zwlr_foreign_toplevel_handle_v1*) {
  auto* handle = static_cast<Handle*>(data);
  WlrToplevels* owner = handle->owner;
  const uint64_t number = handle->number;
  zwlr_foreign_toplevel_handle_v1_destroy(handle->proxy);
  owner->handles_.erase(number);
  owner->events_.closed(number);
}

int WlrToplevels::OnReadable(sd_event_source*, int, uint32_t revents, void* self) {
  auto* owner = static_cast<WlrToplevels*>(self);
  if ((revents & (EPOLLHUP | EPOLLERR)) || wl_display_dispatch(owner->display_) < 0 ||
      (wl_display_flush(owner->display_) < 0 && errno != EAGAIN)) {
    owner->disconnect();
    owner->events_.gone();
  }
  return 0;
}

}  // namespace tl::linuxdev
