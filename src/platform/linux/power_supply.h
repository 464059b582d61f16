// PowerSupply: the battery's property dictionary from the power supplies sysfs shows.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/linux/sysfs.h"
#include "platform/value.h"

namespace tl::linuxdev {

// The attributes read of each power supply.
const std::vector<std::string>& PowerSupplyAttributes();

// What the battery entry answers: its property dictionary, and whether the batteries report
// their charge (or energy) rather than only a percentage, which is the gas-gauge answer.
struct BatteryReading {
  bool present = false;  // a system battery exists
  bool gasGauge = false;
  platform::Dictionary properties;
};

// Maps the power supplies, as sysfs names their attributes and units (µAh, µWh, µV, µA, µW,
// tenths of a degree Celsius), to the battery dictionary the power side reads (mAh, mV, mA,
// hundredths of a degree). Batteries of scope "Device" (a mouse, a headset) and batteries that
// are not present are left out. Several system batteries make one: charges add up, each taken
// in mAh; the voltage, current, temperature and cycle count are the first battery's by name;
// it charges when any charges and is full when all are. updateTime is the reading's wall-clock
// second.
BatteryReading MapPowerSupplies(const std::vector<SysfsDevice>& supplies, int64_t updateTime);

}  // namespace tl::linuxdev
