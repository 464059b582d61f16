// The device trace's JSON forms of the simulated device: device fields, registry proxies and
// counter changes, checked and turned into typed values; and the device's state written back as
// device fields, for the hand-over at a restart.
#pragma once

#include <optional>
#include <string>

#include "host/json/json_values.h"
#include "platform/sim/device_state.h"
#include "platform/sim/sim_device.h"

namespace tl::host {

// The range of the device's "start": the wall clock of the module's records is unsigned 32-bit
// seconds since 1970, which end on 2106-02-07.
inline constexpr double kLatestStart = 4294967295;

// The fields of a device line or a set action: what is wrong with them (naming the first
// offending field), or nullopt with *out holding their changes. Nothing is applied.
std::optional<std::string> ParseDeviceFields(const Json& fields, sim::DeviceFields* out);
// The same, for callers that hold fields known to be valid; throws std::invalid_argument.
sim::DeviceFields DeviceFieldsFromJson(const Json& fields);

// A registry proxy ({"bundle", "bundle_version", ...}); a proxy without "type" is a user
// application.
std::optional<std::string> ParseProxy(const Json& proxy, platform::RSApplicationProxy* out);
// Counter changes ({"tcpOOOPkt": 7, "14": 3, "fail": true}).
std::optional<std::string> ParseCounters(const Json& counters, sim::CounterChanges* out);

// The whole state as device fields; ParseDeviceFields reads it back to the same state.
Json DeviceStateToJson(const sim::DeviceState& state);
// What carries over a restart, and back.
Json SnapshotToJson(const sim::SimDevice::Snapshot& snapshot);
sim::SimDevice::Snapshot SnapshotFromJson(const Json& json);

}  // namespace tl::host
