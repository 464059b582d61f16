// Backlights: which of the system's backlights is the display's, and what the registry shows of it.
#pragma once

#include <optional>
#include <vector>

#include "platform/linux/loop/sysfs.h"
#include "platform/value.h"

namespace tl::linuxdev {

const std::vector<std::string>& BacklightAttributes();

// The display's backlight: a "firmware" interface before a "platform" one before a "raw" one
// (the kernel's own advice: the firmware knows how the panel is wired), then by name; nullopt
// when there is none with a positive max_brightness.
std::optional<SysfsDevice> ChooseBacklight(const std::vector<SysfsDevice>& backlights);

// The registry's "brightness" dictionary: min 0, max max_brightness, value actual_brightness
// (brightness where the driver has no actual value), and 0 while the display is powered off,
// since blanking the screen touches neither.
platform::Dictionary BrightnessDictionary(const SysfsDevice& backlight, bool displayOn);

// The brightness as a fraction of full brightness, whether or not the display is on.
float BrightnessFraction(const SysfsDevice& backlight);

}  // namespace tl::linuxdev
