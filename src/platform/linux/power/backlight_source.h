// BacklightSource: the display's backlight in sysfs and whether the display is powered.
#pragma once

#include <optional>

#include "platform/linux/loop/guarded.h"
#include "platform/linux/power/backlights.h"

namespace tl::linuxdev {

// The chosen backlight, read on the loop thread at start, on the backlight's uevents and on the
// polling timer; the display's power comes from the compositor (setDisplayOn).
class BacklightSource {
 public:
  BacklightSource() { refresh(); }  // reads the backlights once

  // Reads anew; true when the brightness dictionary changed.
  bool refresh();
  // True when that changed the dictionary.
  bool setDisplayOn(bool on);

  bool present() const { return backlight_.get().has_value(); }
  // nullopt without a backlight.
  std::optional<platform::Dictionary> brightness() const;
  float fraction() const;
  // The compositor blanked the display, or the backlight is at 0. Without either source the
  // screen counts as on.
  bool screenAsleep() const;

 private:
  Guarded<std::optional<SysfsDevice>> backlight_;
  Guarded<bool> displayOff_;
};

}  // namespace tl::linuxdev
