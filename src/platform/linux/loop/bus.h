// Bus: owning handles of sd-bus connections and slots, and opening the system and session buses.
#pragma once

#include <systemd/sd-bus.h>

#include <cstdlib>
#include <memory>

#include "base/status.h"

namespace tl::linuxdev {

struct BusDeleter {
  void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
};
using BusPtr = std::unique_ptr<sd_bus, BusDeleter>;

struct SlotDeleter {
  void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
};
using SlotPtr = std::unique_ptr<sd_bus_slot, SlotDeleter>;

struct MessageDeleter {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using MessagePtr = std::unique_ptr<sd_bus_message, MessageDeleter>;

// Owns the error a call may fill, and frees it when it goes.
class BusError {
 public:
  BusError() = default;
  ~BusError() { sd_bus_error_free(&error_); }
  BusError(const BusError&) = delete;
  BusError& operator=(const BusError&) = delete;

  sd_bus_error* get() { return &error_; }
  // The bus's message, or nullptr when the call set none.
  const char* message() const { return error_.message; }
  // Whether the call failed with the D-Bus error name.
  bool is(const char* name) const { return sd_bus_error_has_name(&error_, name) > 0; }

 private:
  sd_bus_error error_ = SD_BUS_ERROR_NULL;
};

// A string sd-bus allocated for the caller.
struct BusStringDeleter {
  void operator()(char* text) const { std::free(text); }  // NOLINT(cppcoreguidelines-no-malloc)
};
using BusString = std::unique_ptr<char, BusStringDeleter>;

// The outcome of an sd-bus call that returned r: the bus's message where the call set one (the
// peer's own error text), else the errno text.
Status BusStatus(int r, const BusError& error);
// The outcome of an sd-bus or sd-event call that returned r (a negative errno value on failure).
Status ReturnStatus(int r);
// A source given no bus to watch.
Status NoBus(std::string_view which);

// nullptr when the bus cannot be reached ($DBUS_SYSTEM_BUS_ADDRESS and
// $DBUS_SESSION_BUS_ADDRESS name other buses, as the tests' private ones).
BusPtr OpenSystemBus();
BusPtr OpenSessionBus();

}  // namespace tl::linuxdev
