// Settings: what the daemon's configuration gives the Linux device.
#pragma once

#include <map>
#include <string>

#include "platform/value.h"

namespace tl::linuxdev {

// Everything here is optional; left out, the device answers from the system or says it has no
// answer. Consent to share analytics with developers is off unless given.
struct Settings {
  std::map<std::string, platform::Dictionary> preferences;  // domain -> key -> value
  platform::Dictionary answers;  // device answers; they win over the system's own
  platform::Dictionary tasking;
  bool consent = false;
  // Seconds between the readings of the power supplies, backlight and thermal zones that catch
  // what their drivers do not announce.
  double pollSeconds = 600;
};

}  // namespace tl::linuxdev
