// The backlight service's matching dictionary and the brightness it reports.
#include "platform/backlight.h"

namespace tl::platform {

Dictionary BacklightMatching() {
  return {{kPropertyMatchKey, Dictionary{{kBacklightControlProperty, true}}}};
}

RegistryEntryRef MatchBacklight(DeviceRegistry& registry) {
  return registry.matchServiceByProperties(BacklightMatching());
}

std::optional<Dictionary> ReadBrightness(DeviceRegistry& registry, const RegistryEntry& service) {
  std::optional<Value> parameters = registry.property(service, kDisplayParametersProperty);
  Dictionary* all = parameters ? parameters->dictionary() : nullptr;
  if (!all) return std::nullopt;
  auto brightness = all->find(kBrightnessKey);
  if (brightness == all->end() || !brightness->second.dictionary()) return std::nullopt;
  return std::move(*brightness->second.dictionary());
}

Dictionary BacklightProperties(Dictionary brightness) {
  return {{kBacklightControlProperty, true},
          {kDisplayParametersProperty, Dictionary{{kBrightnessKey, std::move(brightness)}}}};
}

}  // namespace tl::platform
