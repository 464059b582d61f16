// ThermalZones: trip points read as "trip_point_N_type" and "trip_point_N_temp".
#include "platform/linux/power/thermal_zones.h"

#include <algorithm>

namespace tl::linuxdev {

const std::vector<std::string>& ThermalZoneAttributes() {
  static const std::vector<std::string> kAttributes = {"temp", "trip_point_*"};
  return kAttributes;
}

int64_t ThermalLevel(const std::vector<SysfsDevice>& zones) {
  int64_t level = 0;
  for (const SysfsDevice& zone : zones) {
    if (!zone.has("temp")) continue;
    const long long temperature = zone.number("temp", 0);
    for (const auto& [name, type] : zone.attributes) {
      if (!name.starts_with("trip_point_") || !name.ends_with("_type")) continue;
      const std::string tempName = name.substr(0, name.size() - 5) + "_temp";
      const long long trip = zone.number(tempName, -1);
      if (trip <= 0 || temperature < trip) continue;
      if (type == "passive") level = std::max<int64_t>(level, 1);
      if (type == "hot") level = std::max<int64_t>(level, 2);
      if (type == "critical") level = std::max<int64_t>(level, 3);
    }
  }
  return level;
}

}  // namespace tl::linuxdev
