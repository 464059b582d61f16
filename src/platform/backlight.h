// The backlight service as every device's registry presents it, and the reading of its
// brightness.
#pragma once

#include <optional>

#include "platform/device_registry.h"

namespace tl::platform {

// The backlight service has the property "backlight-control" = true and, under
// "DVDisplayParameters", a "brightness" dictionary of "min", "max" and "value" (integers in the
// display's own units).
inline constexpr char kBacklightControlProperty[] = "backlight-control";
inline constexpr char kDisplayParametersProperty[] = "DVDisplayParameters";
inline constexpr char kBrightnessKey[] = "brightness";

// The matching dictionary that finds the backlight service.
Dictionary BacklightMatching();
// The backlight service, or nullptr.
RegistryEntryRef MatchBacklight(DeviceRegistry& registry);
// The service's "brightness" dictionary, read anew; nullopt when the display parameters or the
// dictionary are missing.
std::optional<Dictionary> ReadBrightness(DeviceRegistry& registry, const RegistryEntry& service);

// For devices: the properties of a backlight service whose brightness dictionary is brightness.
Dictionary BacklightProperties(Dictionary brightness);

}  // namespace tl::platform
