// Bus: opening the buses.
#include "platform/linux/loop/bus.h"

#include <cerrno>
#include <string>

namespace tl::linuxdev {

Status BusStatus(int r, const BusError& error) {
  if (r >= 0) return Status::OK();
  if (error.message()) return Status::Error(-r, error.message());
  return Status::FromErrno(-r);
}

Status ReturnStatus(int r) { return r >= 0 ? Status::OK() : Status::FromErrno(-r); }

Status NoBus(std::string_view which) {
  return Status::Error(ENOTCONN, "no " + std::string(which) + " bus");
}

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
