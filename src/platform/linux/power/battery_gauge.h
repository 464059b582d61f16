// BatteryGauge: what the battery entry answers from one reading of the power supplies to the
// next, so that nothing a glitch of the hardware shows is ever taken as charge drawn or gained.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/loop/sysfs.h"
#include "platform/linux/power/power_supply.h"

namespace tl::linuxdev {

// How long a battery may be gone (removed, or its gauge off the bus) and still come back as the
// same battery: a loose contact or a gauge that resets is back within seconds, while taking a
// battery out and putting one in takes longer.
inline constexpr double kBatteryGraceSeconds = 30;

// How often one supply's refusals of one attribute are logged at most.
inline constexpr double kRefusalLogSeconds = 3600;

// Follows the power supplies from one reading to the next:
// - an attribute that fails its check keeps its last good value, and the refusal is logged (one
//   line per supply and attribute per kRefusalLogSeconds);
// - a battery that goes away is held at its last reading for kBatteryGraceSeconds; one that
//   comes back within it, with the same model, maker, serial number and design capacity, is the
//   same battery and goes on from where it was; after that it is no longer counted;
// - the unit of the capacities (mAh with a gas gauge, else percent) is fixed by the first
//   reading, as the power side asks the gas-gauge question once;
// - a change of gauge (a battery counted or no longer counted, or read from charge, energy or
//   percentage where it was read from another) carries the capacity on from where it was. The
//   difference to the new gauge's own figure is let go only where the power side takes it as no
//   energy: a drop while the battery has been charging on an adapter, a rise while it has not.
// Not thread-safe: the loop thread owns it.
class BatteryGauge {
 public:
  using Log = std::function<void(const std::string& line)>;
  explicit BatteryGauge(Log log = nullptr) : log_(std::move(log)) {}

  // The reading after supplies were read at now (monotonic seconds) and updateTime (wall-clock).
  BatteryReading update(const std::vector<SysfsDevice>& supplies, double now, int64_t updateTime);

 private:
  struct Tracked {
    SupplyValues held;
    int generation = 0;
    std::optional<double> goneSince;
    bool counted = false;  // present once, and not gone for longer than the grace
  };

  void merge(const SysfsDevice& supply, double now);
  void follow(const std::string& name, bool present, double now);
  BatteryReading hold(std::optional<bool> adapterOnline, int64_t updateTime);
  void say(const std::string& line) const {
    if (log_) log_(line);
  }

  Log log_;
  std::map<std::string, Tracked> supplies_;      // every supply seen, by name
  std::map<std::string, double> refusalLogged_;  // "supply/attribute" -> when last logged
  int generations_ = 0;
  std::optional<bool> gasGauge_;  // fixed by the first battery
  std::string gauge_;             // which batteries the capacity is read from, and how
  double offset_ = 0;             // what the capacity carries on a change of gauge
  std::optional<BatteryReading> last_;
  bool lastChargingOnAdapter_ = false;
};

// One reading of a gauge that has seen nothing before: the mapping of a set of supplies alone.
BatteryReading MapPowerSupplies(const std::vector<SysfsDevice>& supplies, int64_t updateTime);

}  // namespace tl::linuxdev
