// PowerProfiles: low-power mode as the power-profiles daemon's active profile.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/linux/loop/bus.h"

namespace tl::linuxdev {

// The state of the battery-saver notification for a profile: 1 for "power-saver", else 0.
uint64_t BatterySaverState(const std::string& profile);

// Follows "ActiveProfile" on both of the daemon's names (the older net.hadess.PowerProfiles and
// org.freedesktop.UPower.PowerProfiles; a daemon may own either or both). onChange runs on the
// loop thread when the state changes, not for a repeated report of the same one.
class PowerProfiles {
 public:
  PowerProfiles(sd_bus* systemBus, std::function<void(uint64_t state)> onChange);

  // Reads the active profile (blocking; before the loop runs) and watches both names; the
  // state, 0 when no daemon answers.
  uint64_t start();

 private:
  static int OnPropertiesChanged(sd_bus_message* message, void* self, sd_bus_error* error);
  void changed(uint64_t state);

  sd_bus* bus_;
  std::function<void(uint64_t)> onChange_;
  std::vector<SlotPtr> matches_;
  uint64_t state_ = 0;
};

}  // namespace tl::linuxdev
