// PowerSupply: the battery's property dictionary from the checked values of the power supplies.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/power/supply_attributes.h"
#include "platform/value.h"

namespace tl::linuxdev {

// What the battery entry answers: its property dictionary, and whether the batteries report
// their charge (or energy) rather than only a percentage, which is the gas-gauge answer.
struct BatteryReading {
  bool present = false;  // a system battery exists
  bool gasGauge = false;
  platform::Dictionary properties;
};

// A system battery by name, with the values it is believed to hold.
struct NamedBattery {
  std::string name;
  const SupplyValues* values = nullptr;
};

// Where a battery's charge is read from, best first.
enum class ChargeSource { kCharge, kEnergy, kPercent, kNone };
const char* ChargeSourceName(ChargeSource source);

// A battery's present and full charge: in mAh (inMilliampHours) from "charge_now", else from
// "energy_now" at its conversion voltage, else as its percentage of its full charge; or in
// percent of full, from "capacity", else from its charge or energy against full. kNone when it
// reports too little for either.
struct BatteryCharge {
  double now = 0;
  double full = 0;
  ChargeSource source = ChargeSource::kNone;
};
BatteryCharge ChargeOf(const SupplyValues& battery, bool inMilliampHours);

// Maps the batteries (in name order, at least one) to the battery dictionary the power side
// reads, from the kernel's units (µAh, µWh, µV, µA, µW, tenths of a degree Celsius) to its own
// (mAh, mV, mA, hundredths of a degree). The capacities are left for the gauge to set.
// adapterOnline is whether a Mains, USB or Wireless supply is online, nullopt when none is
// listed; then the first battery's status says whether it is plugged in. The voltage, current,
// temperature, cycle count and health are the first battery's; it charges when any charges,
// is full when all are. updateTime is the reading's wall-clock second.
platform::Dictionary BatteryDictionary(const std::vector<NamedBattery>& batteries,
                                       std::optional<bool> adapterOnline, int64_t updateTime);

// Sets the capacities the power side books energy from (mAh, or percent without a gas gauge).
void SetCapacities(platform::Dictionary& properties, double current, double maximum);

}  // namespace tl::linuxdev
