// A Wayland client for the daemon's tests: opens and closes xdg toplevels with given app IDs on
// commands read from standard input ("open NAME APP_ID", "close NAME"), and answers each with a
// line once the compositor has it ("opened NAME", "closed NAME").
#include <sys/mman.h>
#include <unistd.h>
#include <wayland-client.h>

#include <cstdio>
#include <cstring>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>

#include "xdg-shell-client-protocol.h"

namespace {

wl_compositor* compositor = nullptr;
wl_shm* shm = nullptr;
xdg_wm_base* wmBase = nullptr;

struct Window {
  wl_surface* surface = nullptr;
  xdg_surface* xdgSurface = nullptr;
  xdg_toplevel* toplevel = nullptr;
  wl_buffer* buffer = nullptr;
  bool configured = false;
};

void OnGlobal(void*, wl_registry* registry, uint32_t name, const char* interface, uint32_t) {
  const std::string_view id(interface);
  if (id == wl_compositor_interface.name) {
    compositor =
        static_cast<wl_compositor*>(wl_registry_bind(registry, name, &wl_compositor_interface, 4));
  } else if (id == wl_shm_interface.name) {
    shm = static_cast<wl_shm*>(wl_registry_bind(registry, name, &wl_shm_interface, 1));
  } else if (id == xdg_wm_base_interface.name) {
    wmBase = static_cast<xdg_wm_base*>(wl_registry_bind(registry, name, &xdg_wm_base_interface, 1));
  }
}
void OnGlobalRemove(void*, wl_registry*, uint32_t) {}
const wl_registry_listener kRegistry = {OnGlobal, OnGlobalRemove};

void OnPing(void*, xdg_wm_base* base, uint32_t serial) { xdg_wm_base_pong(base, serial); }
const xdg_wm_base_listener kWmBase = {OnPing};

void OnConfigure(void* data, xdg_surface* surface, uint32_t serial) {
  xdg_surface_ack_configure(surface, serial);
  static_cast<Window*>(data)->configured = true;
}
const xdg_surface_listener kSurface = {OnConfigure};

// A white 64×64 buffer: a toplevel is mapped only once it has content.
wl_buffer* WhiteBuffer() {
  constexpr int kSide = 64, kStride = kSide * 4, kSize = kStride * kSide;
  const int fd = memfd_create("toplevel", MFD_CLOEXEC);
  if (fd < 0 || ftruncate(fd, kSize) < 0) return nullptr;
  void* pixels = mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  std::memset(pixels, 0xff, kSize);
  munmap(pixels, kSize);
  wl_shm_pool* pool = wl_shm_create_pool(shm, fd, kSize);
  wl_buffer* buffer =
      wl_shm_pool_create_buffer(pool, 0, kSide, kSide, kStride, WL_SHM_FORMAT_XRGB8888);
  wl_shm_pool_destroy(pool);
  close(fd);
  return buffer;
}

}  // namespace

int main() {
  wl_display* display = wl_display_connect(nullptr);
  if (!display) {
    std::fprintf(stderr, "toplevel_client: no compositor\n");
    return 1;
  }
  wl_registry* registry = wl_display_get_registry(display);
  wl_registry_add_listener(registry, &kRegistry, nullptr);
  wl_display_roundtrip(display);
  if (!compositor || !shm || !wmBase) return 1;
  xdg_wm_base_add_listener(wmBase, &kWmBase, nullptr);

  std::map<std::string, std::unique_ptr<Window>> windows;
  for (std::string line; std::getline(std::cin, line);) {
    std::istringstream words(line);
    std::string command, name, appId;
    words >> command >> name >> appId;
    if (command == "open") {
      auto window = std::make_unique<Window>();
      window->surface = wl_compositor_create_surface(compositor);
      window->xdgSurface = xdg_wm_base_get_xdg_surface(wmBase, window->surface);
      xdg_surface_add_listener(window->xdgSurface, &kSurface, window.get());
      window->toplevel = xdg_surface_get_toplevel(window->xdgSurface);
      xdg_toplevel_set_app_id(window->toplevel, appId.c_str());
      wl_surface_commit(window->surface);
      while (!window->configured && wl_display_dispatch(display) >= 0) {
      }
      window->buffer = WhiteBuffer();
      wl_surface_attach(window->surface, window->buffer, 0, 0);
      wl_surface_commit(window->surface);
      wl_display_roundtrip(display);
      windows[name] = std::move(window);
    } else if (command == "close") {
      auto it = windows.find(name);
      if (it == windows.end()) continue;
      xdg_toplevel_destroy(it->second->toplevel);
      xdg_surface_destroy(it->second->xdgSurface);
      wl_surface_destroy(it->second->surface);
      wl_buffer_destroy(it->second->buffer);
      windows.erase(it);
      wl_display_roundtrip(display);
    } else {
      continue;
    }
    std::cout << (command == "open" ? "opened " : "closed ") << name << std::endl;
  }
  wl_display_disconnect(display);
  return 0;
}
