// Backlights: the choice of the display's backlight and its brightness values.
#include "platform/linux/power/backlights.h"

#include <algorithm>

namespace tl::linuxdev {

namespace {

int TypeRank(const SysfsDevice& backlight) {
  auto type = backlight.attributes.find("type");
  if (type == backlight.attributes.end()) return 3;
  if (type->second == "firmware") return 0;
  if (type->second == "platform") return 1;
  if (type->second == "raw") return 2;
  return 3;
}

long long Actual(const SysfsDevice& backlight) {
  return backlight.number("actual_brightness", backlight.number("brightness", 0));
}

}  // namespace

const std::vector<std::string>& BacklightAttributes() {
  static const std::vector<std::string> kAttributes = {"type", "max_brightness", "brightness",
                                                       "actual_brightness"};
  return kAttributes;
}

std::optional<SysfsDevice> ChooseBacklight(const std::vector<SysfsDevice>& backlights) {
  const SysfsDevice* best = nullptr;
  for (const SysfsDevice& backlight : backlights) {
    if (backlight.number("max_brightness", 0) <= 0) continue;
    // The list is sorted by name, so the first of a rank wins.
    if (!best || TypeRank(backlight) < TypeRank(*best)) best = &backlight;
  }
  if (!best) return std::nullopt;
  return *best;
}

// A driver's value outside 0 to max_brightness is read as the nearer end.
long long Clamped(const SysfsDevice& backlight) {
  return std::clamp(Actual(backlight), 0LL, std::max(backlight.number("max_brightness", 0), 0LL));
}

platform::Dictionary BrightnessDictionary(const SysfsDevice& backlight, bool displayOn) {
  return {{"min", platform::Value(0)},
          {"max", platform::Value(backlight.number("max_brightness", 0))},
          {"value", platform::Value(displayOn ? Clamped(backlight) : 0LL)}};
}

float BrightnessFraction(const SysfsDevice& backlight) {
  const long long max = backlight.number("max_brightness", 0);
  if (max <= 0) return 0;
  return static_cast<float>(Clamped(backlight)) / static_cast<float>(max);
}

}  // namespace tl::linuxdev
