// WlrToplevels: the protocol's listeners.
#include "platform/linux/windows/wlr_toplevels.h"

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
    : events_(std::move(events)),
      display_(
          loop,
          [this] {
            disconnect();
            events_.gone();
          },
          [this] { events_.settled(); }) {}

WlrToplevels::~WlrToplevels() { disconnect(); }

void WlrToplevels::disconnect() {
  for (auto& [number, handle] : handles_) zwlr_foreign_toplevel_handle_v1_destroy(handle->proxy);
  handles_.clear();
  if (manager_) zwlr_foreign_toplevel_manager_v1_destroy(manager_);
  manager_ = nullptr;
  display_.close();
}

Status WlrToplevels::start() {
  static const zwlr_foreign_toplevel_manager_v1_listener kManager = {OnToplevel, OnFinished};
  const bool opened = display_.open(
      [this](wl_registry* registry, uint32_t name, std::string_view interface, uint32_t version) {
        if (interface != zwlr_foreign_toplevel_manager_v1_interface.name) return;
        manager_ = static_cast<zwlr_foreign_toplevel_manager_v1*>(wl_registry_bind(
            registry, name, &zwlr_foreign_toplevel_manager_v1_interface, std::min(version, 3u)));
        zwlr_foreign_toplevel_manager_v1_add_listener(manager_, &kManager, this);
      });
  // Then a round trip announces the windows already open.
  Status status = opened ? Status::OK() : Status::Error(ENOTCONN, "no Wayland compositor");
  if (status.ok() && !manager_) status = Status::Error(ENOENT, "no foreign-toplevel manager");
  if (status.ok() && (!display_.roundtrip() || !display_.attach())) {
    status = Status::Error(ECONNRESET, "the compositor went away");
  }
  if (!status.ok()) disconnect();
  return status;
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

}  // namespace tl::linuxdev
