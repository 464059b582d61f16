// Fuzzes the backlight and thermal readings: the backlight chosen, its brightness dictionary
// and fraction, and the thermal level of the same devices read as thermal zones.
#include <cstddef>
#include <cstdint>

#include "platform/linux/power/backlights.h"
#include "platform/linux/power/thermal_zones.h"
#include "sysfs_text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  for (const auto& devices : tl::fuzz::SysfsReadings(text)) {
    const int64_t level = tl::linuxdev::ThermalLevel(devices);
    if (level < 0 || level > 3) __builtin_trap();
    const auto backlight = tl::linuxdev::ChooseBacklight(devices);
    if (!backlight) continue;
    const float fraction = tl::linuxdev::BrightnessFraction(*backlight);
    if (!(fraction >= 0 && fraction <= 1)) __builtin_trap();
    const auto brightness = tl::linuxdev::BrightnessDictionary(*backlight, true);
    const int64_t value = tl::platform::Find(brightness, "value")->longLongValue();
    const int64_t max = tl::platform::Find(brightness, "max")->longLongValue();
    if (value < 0 || value > max) __builtin_trap();
  }
  return 0;
}
