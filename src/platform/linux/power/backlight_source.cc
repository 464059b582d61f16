// BacklightSource: the backlight's reading and the display's power.
#include "platform/linux/power/backlight_source.h"

namespace tl::linuxdev {

namespace {

bool SameBacklight(const std::optional<SysfsDevice>& a, const std::optional<SysfsDevice>& b) {
  if (a.has_value() != b.has_value()) return false;
  return !a || (a->path == b->path && a->attributes == b->attributes);
}

}  // namespace

bool BacklightSource::refresh() {
  return backlight_.replace(ChooseBacklight(ReadSubsystem("backlight", BacklightAttributes())),
                            SameBacklight);
}

bool BacklightSource::setDisplayOn(bool on) { return displayOff_.replace(!on); }

std::optional<platform::Dictionary> BacklightSource::brightness() const {
  auto backlight = backlight_.get();
  if (!backlight) return std::nullopt;
  return BrightnessDictionary(*backlight, !displayOff_.get());
}

bool BacklightSource::screenAsleep() const {
  return displayOff_.get() || (present() && fraction() <= 0);
}

float BacklightSource::fraction() const {
  auto backlight = backlight_.get();
  return backlight ? BrightnessFraction(*backlight) : 0.0f;
}

}  // namespace tl::linuxdev
