// A stand-in for a KWin older than the stacking order by UUID, in the daemon's tests: a Wayland
// server offering only the window-management global, which never lists a stacking order and
// announces each window shown and already active. The test drives its windows through stdin:
// "open UUID APP_ID PID", "activate UUID", "close UUID". It says "ready" once its socket
// ($XDG_RUNTIME_DIR/$WAYLAND_DISPLAY) listens and "ok" once each command's events are sent.
#include <unistd.h>
#include <wayland-server.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "plasma-window-management-server-protocol.h"

namespace {

constexpr uint32_t kActive = ORG_KDE_PLASMA_WINDOW_MANAGEMENT_STATE_ACTIVE;

struct Window {
  uint32_t id = 0;
  std::string appId;
  uint32_t pid = 0;
  bool active = false;
  std::vector<wl_resource*> resources;
};

wl_display* display;
std::vector<wl_resource*> managers;
std::map<std::string, Window> windows;
uint32_t nextId = 1;
std::string input;

void DestroyResource(wl_client*, wl_resource* resource) { wl_resource_destroy(resource); }

void ForgetWindowResource(wl_resource* resource) {
  for (auto& [uuid, window] : windows) std::erase(window.resources, resource);
}

void GetWindowByUuid(wl_client* client, wl_resource* manager, uint32_t id, const char* uuid) {
  // "struct": the implementation's type shares its name with the interface description.
  static struct org_kde_plasma_window_interface implementation = [] {
    struct org_kde_plasma_window_interface i {};
    i.destroy = DestroyResource;
    return i;
  }();
  wl_resource* resource = wl_resource_create(client, &org_kde_plasma_window_interface,
                                             wl_resource_get_version(manager), id);
  wl_resource_set_implementation(resource, &implementation, nullptr, ForgetWindowResource);
  auto it = windows.find(uuid);
  if (it == windows.end()) {
    org_kde_plasma_window_send_unmapped(resource);
    return;
  }
  Window& window = it->second;
  window.resources.push_back(resource);
  org_kde_plasma_window_send_app_id_changed(resource, window.appId.c_str());
  org_kde_plasma_window_send_pid_changed(resource, window.pid);
  org_kde_plasma_window_send_state_changed(resource, window.active ? kActive : 0);
  org_kde_plasma_window_send_initial_state(resource);
}

void Announce(wl_resource* manager, const std::string& uuid, const Window& window) {
  org_kde_plasma_window_management_send_window(manager, window.id);
  org_kde_plasma_window_management_send_window_with_uuid(manager, window.id, uuid.c_str());
}

void Bind(wl_client* client, void*, uint32_t version, uint32_t id) {
  static struct org_kde_plasma_window_management_interface implementation = [] {
    struct org_kde_plasma_window_management_interface i {};
    i.get_window_by_uuid = GetWindowByUuid;
    return i;
  }();
  wl_resource* resource =
      wl_resource_create(client, &org_kde_plasma_window_management_interface, version, id);
  wl_resource_set_implementation(resource, &implementation, nullptr,
                                 [](wl_resource* r) { std::erase(managers, r); });
  managers.push_back(resource);
  for (const auto& [uuid, window] : windows) Announce(resource, uuid, window);
}

void SetActive(Window& window, bool active) {
  if (window.active == active) return;
  window.active = active;
  for (wl_resource* resource : window.resources) {
    org_kde_plasma_window_send_state_changed(resource, active ? kActive : 0);
  }
}

void Run(const std::string& line) {
  std::istringstream words(line);
  std::string command, uuid, appId;
  uint32_t pid = 0;
  words >> command >> uuid >> appId >> pid;
  if (command == "open") {
    for (auto& [other, window] : windows) SetActive(window, false);
    Window& window = windows[uuid];
    window = Window{nextId++, appId, pid, true, {}};
    for (wl_resource* manager : managers) Announce(manager, uuid, window);
  } else if (command == "activate") {
    for (auto& [other, window] : windows) SetActive(window, other == uuid);
  } else if (command == "close") {
    for (wl_resource* resource : windows.at(uuid).resources) {
      org_kde_plasma_window_send_unmapped(resource);
    }
    windows.erase(uuid);
  }
  wl_display_flush_clients(display);
  std::cout << "ok" << std::endl;
}

int OnInput(int fd, uint32_t, void*) {
  char buffer[4096];
  const ssize_t n = read(fd, buffer, sizeof buffer);
  if (n <= 0) {
    wl_display_terminate(display);
    return 0;
  }
  input.append(buffer, static_cast<size_t>(n));
  for (size_t end; (end = input.find('\n')) != std::string::npos; input.erase(0, end + 1)) {
    Run(input.substr(0, end));
  }
  return 0;
}

}  // namespace

int main() {
  display = wl_display_create();
  const char* socket = std::getenv("WAYLAND_DISPLAY");
  if (!socket || wl_display_add_socket(display, socket) != 0) {
    std::cerr << "kde_compositor: cannot listen on $WAYLAND_DISPLAY\n";
    return 1;
  }
  wl_global_create(display, &org_kde_plasma_window_management_interface, 16, nullptr, Bind);
  wl_event_loop_add_fd(wl_display_get_event_loop(display), STDIN_FILENO, WL_EVENT_READABLE, OnInput,
                       nullptr);
  std::cout << "ready" << std::endl;
  wl_display_run(display);
  wl_display_destroy_clients(display);
  wl_display_destroy(display);
  return 0;
}
