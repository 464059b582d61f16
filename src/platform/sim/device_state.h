// DeviceState: everything the simulated device answers, as typed fields with their defaults.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/applications.h"
#include "platform/clock.h"
#include "platform/kernel.h"
#include "platform/uuid.h"
#include "platform/value.h"

namespace tl::sim {

// The backlight's "brightness" dictionary; a missing member is missing in the registry too.
struct Backlight {
  std::optional<int64_t> min;
  std::optional<int64_t> max;
  std::optional<int64_t> value;
  friend bool operator==(const Backlight&, const Backlight&) = default;
};

// What the kernel answers for a process.
struct Process {
  platform::Uuid uuid;  // of the main executable; zero when unknown
  bool lp64 = true;
};

// A network interface with its link-layer address and its packet statistics counters.
struct Interface {
  std::string name;
  bool loopback = false;
  int family = platform::kAddressFamilyLink;
  std::array<uint64_t, platform::kPacketStatisticsCounters> counters{};
  bool failing = false;  // reads of its supplemental data fail
};

// Changes of an interface's counters: absolute values by index, in order, and whether its reads
// fail from now on (unchanged when absent).
struct CounterChanges {
  std::vector<std::pair<int, uint64_t>> values;
  std::optional<bool> fail;
  void applyTo(Interface& interface) const;
};

platform::Dictionary DefaultBattery();
platform::Dictionary DefaultSystemVersion();
std::vector<Interface> DefaultInterfaces();

struct DeviceState {
  double start = 1767225600;  // wall-clock seconds since 1970 at elapsed time 0
  std::string timeZone = "UTC";
  platform::Timebase timebase{1, 1};
  std::string machine = "SimPhone1,1";  // hw.machine
  std::optional<platform::Dictionary> systemVersion = DefaultSystemVersion();
  std::optional<platform::Dictionary> serverVersion;
  // The current locale's country code; "" for a locale without one, nullopt for no locale.
  std::optional<std::string> locale = "US";
  // The global domain's languages preference of the user mobile; null for none.
  platform::Value languages = platform::Array{"en"};
  bool multiUser = false;
  platform::Dictionary answers = {{"InternalBuild", false}, {"gas-gauge-battery", true}};
  std::map<std::string, platform::Dictionary> preferences;  // domain -> key -> value
  platform::Dictionary tasking;
  bool consent = true;  // the user shares analytics with developers
  // The battery entry's property dictionary; nullopt for no entry.
  std::optional<platform::Dictionary> battery = DefaultBattery();
  std::optional<Backlight> backlight = Backlight{0, 100, 50};  // nullopt for no service
  float brightnessLevel = 0.5f;  // the display brightness as a fraction
  uint64_t lpm = 0;              // the battery-saver notification's state
  int64_t thermalLevel = 0;
  std::optional<std::string> wakeReason = "";      // kern.wakereason; nullopt makes the read fail
  std::vector<platform::RSApplicationProxy> apps;  // the registry's proxies
  std::map<int32_t, std::optional<Process>> processes;  // nullopt: the pid's queries fail
  std::vector<Interface> interfaces = DefaultInterfaces();
  // Cumulative CPU seconds since the trace's start: of each application the trace named, and of
  // the whole device (applications included).
  std::map<std::string, double> appCpu;
  double totalCpu = 0;
  // The system-group container; nullopt makes the lookup fail.
  std::optional<std::string> containerPath =
      "/var/containers/Shared/SystemGroup/systemgroup.com.veltro.sysmetry";
};

// Files to write into the sandbox: device path -> text.
using DeviceFiles = std::map<std::string, std::string>;

// A set of field changes, as a device description or a set action makes them: each change
// replaces one field of the state; the files are written into the sandbox.
struct DeviceFields {
  std::vector<std::function<void(DeviceState&)>> changes;
  DeviceFiles files;

  void applyTo(DeviceState& state) const {
    for (const auto& change : changes) change(state);
  }
};

}  // namespace tl::sim
