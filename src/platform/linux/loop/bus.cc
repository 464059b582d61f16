// Bus: opening the buses.
#include "platform/linux/loop/bus.h"

namespace tl::linuxdev {

BusPtr OpenSystemBus() {
  sd_bus* bus = nullptr;
  if (sd_bus_open_system(&bus) < 0) return nullptr;
  return BusPtr(bus);
}

BusPtr OpenSessionBus() {
  sd_bus* bus = nullptr;
  if (sd_bus_open_user(&bus) < 0) return nullptr;
  return BusPtr(bus);
}

}  // namespace tl::linuxdev
