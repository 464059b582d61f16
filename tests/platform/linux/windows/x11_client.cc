// An X11 client for the daemon's tests that plays both an application and its window manager:
// it opens windows with a given WM_CLASS (or GTK application ID) and keeps the root's
// _NET_CLIENT_LIST and _NET_ACTIVE_WINDOW as a window manager does. Commands on stdin, one per
// line: "open NAME CLASS [GTK_APP_ID]", "focus NAME", "close NAME"; it answers "ok" once the
// server has applied each.
#include <unistd.h>
#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

xcb_connection_t* connection;
xcb_window_t root;

xcb_atom_t Atom(const char* name) {
  xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(
      connection, xcb_intern_atom(connection, 0, std::strlen(name), name), nullptr);
  const xcb_atom_t atom = reply->atom;
  free(reply);  // NOLINT(cppcoreguidelines-no-malloc)
  return atom;
}

void SetWindows(xcb_atom_t property, const std::vector<xcb_window_t>& windows) {
  xcb_change_property(connection, XCB_PROP_MODE_REPLACE, root, property, XCB_ATOM_WINDOW, 32,
                      windows.size(), windows.data());
}

}  // namespace

int main() {
  connection = xcb_connect(nullptr, nullptr);
  if (xcb_connection_has_error(connection)) {
    std::cerr << "x11_client: no X server\n";
    return 1;
  }
  root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
  const xcb_atom_t clientList = Atom("_NET_CLIENT_LIST");
  const xcb_atom_t active = Atom("_NET_ACTIVE_WINDOW");
  const xcb_atom_t pid = Atom("_NET_WM_PID");
  const xcb_atom_t gtkAppId = Atom("_GTK_APPLICATION_ID");
  const xcb_atom_t utf8 = Atom("UTF8_STRING");
  std::map<std::string, xcb_window_t> windows;
  std::vector<xcb_window_t> order;

  for (std::string line; std::getline(std::cin, line);) {
    std::istringstream words(line);
    std::string command, name, wmClass, appId;
    words >> command >> name >> wmClass >> appId;
    if (command == "open") {
      const xcb_window_t window = xcb_generate_id(connection);
      xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, root, 0, 0, 100, 100, 0,
                        XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
      const std::string classes = name + '\0' + wmClass + '\0';
      xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_CLASS,
                          XCB_ATOM_STRING, 8, classes.size(), classes.data());
      const uint32_t self = getpid();
      xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, pid, XCB_ATOM_CARDINAL, 32, 1,
                          &self);
      if (!appId.empty()) {
        xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, gtkAppId, utf8, 8,
                            appId.size(), appId.data());
      }
      windows[name] = window;
      order.push_back(window);
      SetWindows(clientList, order);
      SetWindows(active, {window});  // a new window takes the focus
    } else if (command == "focus") {
      SetWindows(active, {windows.at(name)});
    } else if (command == "close") {
      const xcb_window_t window = windows.at(name);
      std::erase(order, window);
      windows.erase(name);
      SetWindows(clientList, order);
      SetWindows(active, {order.empty() ? xcb_window_t{XCB_WINDOW_NONE} : order.back()});
      xcb_destroy_window(connection, window);
    }
    // A round trip: the server has applied everything before the answer.
    free(
        xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));  // NOLINT
    std::cout << "ok" << std::endl;
  }
  xcb_disconnect(connection);
  return 0;
}
