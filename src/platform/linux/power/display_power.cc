// DisplayPower: reading and following PowerSaveMode.
#include "platform/linux/power/display_power.h"

#include <cstring>

namespace tl::linuxdev {

namespace {
constexpr char kService[] = "org.gnome.Mutter.DisplayConfig";
constexpr char kPath[] = "/org/gnome/Mutter/DisplayConfig";
constexpr char kInterface[] = "org.gnome.Mutter.DisplayConfig";
}  // namespace

bool DisplayOnForPowerSaveMode(int32_t mode) { return mode <= 0; }

DisplayPower::DisplayPower(sd_bus* sessionBus, std::function<void(bool)> onChange)
    : bus_(sessionBus), onChange_(std::move(onChange)) {}

Status DisplayPower::start(bool* on) {
  *on = true;
  if (!bus_) return NoBus("session");
  sd_bus_slot* slot = nullptr;
  const int watched =
      sd_bus_match_signal(bus_, &slot, kService, kPath, "org.freedesktop.DBus.Properties",
                          "PropertiesChanged", OnPropertiesChanged, this);
  if (watched < 0) return ReturnStatus(watched);
  match_.reset(slot);
  int32_t mode = -1;
  BusError error;
  const int r = sd_bus_get_property_trivial(bus_, kService, kPath, kInterface, "PowerSaveMode",
                                            error.get(), 'i', &mode);
  if (r >= 0) *on = DisplayOnForPowerSaveMode(mode);
  return BusStatus(r, error);
}

int DisplayPower::OnPropertiesChanged(sd_bus_message* message, void* self, sd_bus_error*) {
  const char* interface = nullptr;
  if (sd_bus_message_read(message, "s", &interface) < 0 ||
      std::strcmp(interface, kInterface) != 0) {
    return 0;
  }
  if (sd_bus_message_enter_container(message, 'a', "{sv}") < 0) return 0;
  while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
    const char* name = nullptr;
    if (sd_bus_message_read(message, "s", &name) < 0) return 0;
    if (std::strcmp(name, "PowerSaveMode") == 0) {
      int32_t mode = -1;
      if (sd_bus_message_read(message, "v", "i", &mode) < 0) return 0;
      static_cast<DisplayPower*>(self)->onChange_(DisplayOnForPowerSaveMode(mode));
    } else {
      sd_bus_message_skip(message, "v");
    }
    sd_bus_message_exit_container(message);
  }
  return 0;
}

}  // namespace tl::linuxdev
