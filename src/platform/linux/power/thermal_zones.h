// ThermalZones: the system's thermal level from its thermal zones and their trip points.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/linux/loop/sysfs.h"

namespace tl::linuxdev {

const std::vector<std::string>& ThermalZoneAttributes();

// The level of one zone, from its temperature and trip points (millidegrees Celsius): 0 below
// every passive and hot trip point, 1 at or above a passive one (the kernel starts to slow the
// device down), 2 at or above a hot one (the platform is told to act), 3 at or above a critical
// one (the kernel shuts down). The system's level is the highest of its zones; 0 without zones.
int64_t ThermalLevel(const std::vector<SysfsDevice>& zones);

}  // namespace tl::linuxdev
