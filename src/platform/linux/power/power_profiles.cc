// PowerProfiles: reading and following ActiveProfile.
#include "platform/linux/power/power_profiles.h"

#include <cstdlib>
#include <cstring>

namespace tl::linuxdev {

namespace {

struct Name {
  const char* service;
  const char* path;
};
constexpr Name kNames[] = {
    {"org.freedesktop.UPower.PowerProfiles", "/org/freedesktop/UPower/PowerProfiles"},
    {"net.hadess.PowerProfiles", "/net/hadess/PowerProfiles"},
};

}  // namespace

uint64_t BatterySaverState(const std::string& profile) { return profile == "power-saver" ? 1 : 0; }

PowerProfiles::PowerProfiles(sd_bus* systemBus, std::function<void(uint64_t)> onChange)
    : bus_(systemBus), onChange_(std::move(onChange)) {}

uint64_t PowerProfiles::start() {
  if (!bus_) return 0;
  bool read = false;
  for (const Name& name : kNames) {
    sd_bus_slot* slot = nullptr;
    if (sd_bus_match_signal(bus_, &slot, name.service, name.path, "org.freedesktop.DBus.Properties",
                            "PropertiesChanged", OnPropertiesChanged, this) >= 0) {
      matches_.emplace_back(slot);
    }
    if (read) continue;
    char* profile = nullptr;
    BusError error;
    const int r = sd_bus_get_property_string(bus_, name.service, name.path, name.service,
                                             "ActiveProfile", error.get(), &profile);
    const BusString owned(profile);
    if (r >= 0) {
      state_ = BatterySaverState(profile);
      read = true;
    }
  }
  return state_;
}

void PowerProfiles::changed(uint64_t state) {
  if (state == state_) return;
  state_ = state;
  onChange_(state);
}

int PowerProfiles::OnPropertiesChanged(sd_bus_message* message, void* self, sd_bus_error*) {
  const char* interface = nullptr;
  if (sd_bus_message_read(message, "s", &interface) < 0) return 0;
  if (std::strcmp(interface, kNames[0].service) != 0 &&
      std::strcmp(interface, kNames[1].service) != 0) {
    return 0;
  }
  if (sd_bus_message_enter_container(message, 'a', "{sv}") < 0) return 0;
  while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
    const char* name = nullptr;
    if (sd_bus_message_read(message, "s", &name) < 0) return 0;
    if (std::strcmp(name, "ActiveProfile") == 0) {
      const char* profile = nullptr;
      if (sd_bus_message_read(message, "v", "s", &profile) < 0) return 0;
      static_cast<PowerProfiles*>(self)->changed(BatterySaverState(profile));
    } else {
      sd_bus_message_skip(message, "v");
    }
    sd_bus_message_exit_container(message);
  }
  return 0;
}

}  // namespace tl::linuxdev
