// DisplayPower: whether the compositor has the display powered, from its display configuration.
#pragma once

#include <cstdint>
#include <functional>

#include "platform/linux/loop/bus.h"

namespace tl::linuxdev {

// Mutter's (and Phosh's) "PowerSaveMode": 0 on, 1 standby, 2 suspend, 3 off, -1 unknown. Only a
// known power-saving mode counts as off.
bool DisplayOnForPowerSaveMode(int32_t mode);

// Follows "PowerSaveMode" of org.gnome.Mutter.DisplayConfig on the session bus. A session
// without that service (Plasma, wlroots compositors, X11) keeps the display on: their screen
// blanking is not published, and the backlight's own value is all there is.
class DisplayPower {
 public:
  // onChange runs on the loop thread with the display's power.
  DisplayPower(sd_bus* sessionBus, std::function<void(bool on)> onChange);

  // Reads the current mode (blocking; before the loop runs) and watches for changes.
  Status start(bool* on);

 private:
  static int OnPropertiesChanged(sd_bus_message* message, void* self, sd_bus_error* error);

  sd_bus* bus_;
  std::function<void(bool)> onChange_;
  SlotPtr match_;
};

}  // namespace tl::linuxdev
