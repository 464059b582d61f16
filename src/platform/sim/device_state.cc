// The simulated device's default battery, software version and interfaces.
#include "platform/sim/device_state.h"

namespace tl::sim {

void CounterChanges::applyTo(Interface& interface) const {
  for (const auto& [index, value] : values) interface.counters.at(index) = value;
  if (fail) interface.failing = *fail;
}

platform::Dictionary DefaultBattery() {
  // A discharging battery of 2,000 of 2,500 mAh at 3,900 mV.
  return {{"CurrentCapacity", 2000},
          {"MaxCapacity", 2500},
          {"AbsoluteCapacity", 2000},
          {"VeltroRawCurrentCapacity", 2000},
          {"VeltroRawMaxCapacity", 2500},
          {"DesignCapacity", 2600},
          {"Voltage", 3900},
          {"VeltroRawBatteryVoltage", 3900},
          {"IsCharging", false},
          {"ExternalConnected", false},
          {"AdapterInfo", 0},
          {"FullyCharged", false},
          {"AtCriticalLevel", false},
          {"Amperage", -300},
          {"InstantAmperage", -300},
          {"Temperature", 2800},
          {"CycleCount", 100},
          {"UpdateTime", 0}};
}

platform::Dictionary DefaultSystemVersion() {
  return {{"ProductName", "SimOS"}, {"ProductVersion", "1.0"}, {"ProductBuildVersion", "1A100"}};
}

std::vector<Interface> DefaultInterfaces() {
  return {Interface{.name = "lo0", .loopback = true}, Interface{.name = "en0"}};
}

}  // namespace tl::sim
