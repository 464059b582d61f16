// PowerSupply: sysfs power supplies to the battery dictionary.
#include "platform/linux/power_supply.h"

#include <cmath>
#include <cstdlib>

namespace tl::linuxdev {

namespace {

using platform::Value;

bool IsAdapter(const SysfsDevice& supply) {
  const std::string& type = supply.attributes.count("type") ? supply.attributes.at("type") : "";
  return type == "Mains" || type == "USB" || type == "Wireless";
}

bool IsSystemBattery(const SysfsDevice& supply) {
  auto type = supply.attributes.find("type");
  if (type == supply.attributes.end() || type->second != "Battery") return false;
  auto scope = supply.attributes.find("scope");
  if (scope != supply.attributes.end() && scope->second == "Device") return false;
  return supply.number("present", 1) != 0;
}

std::string Text(const SysfsDevice& supply, const char* attribute) {
  auto it = supply.attributes.find(attribute);
  return it == supply.attributes.end() ? std::string() : it->second;
}

// The voltage at which a battery's energy is turned into charge: its design voltage, which
// does not move with the load, else the present one; 0 when it reports none.
long long ConversionMicrovolts(const SysfsDevice& battery) {
  for (const char* name : {"voltage_min_design", "voltage_max_design", "voltage_now"}) {
    long long value = battery.number(name, 0);
    if (value > 0) return value;
  }
  return 0;
}

// A battery's charge in mAh from "charge_<which>", or from "energy_<which>" at its conversion
// voltage; nullopt when it reports neither.
std::optional<double> ChargeMilliampHours(const SysfsDevice& battery, const std::string& which) {
  long long charge = battery.number("charge_" + which, -1);
  if (charge >= 0) return charge / 1000.0;
  long long energy = battery.number("energy_" + which, -1);
  long long volts = ConversionMicrovolts(battery);
  if (energy >= 0 && volts > 0) return energy / static_cast<double>(volts) * 1000.0;
  return std::nullopt;
}

// The battery's current in mA, negative while it discharges: current_now, else power_now over
// the present voltage. Drivers differ in the sign they give; the status decides it.
std::optional<long long> CurrentMilliamps(const SysfsDevice& battery) {
  double milliamps;
  if (battery.has("current_now")) {
    milliamps = std::abs(battery.number("current_now", 0)) / 1000.0;
  } else if (battery.has("power_now") && battery.number("voltage_now", 0) > 0) {
    milliamps = std::abs(battery.number("power_now", 0)) /
                static_cast<double>(battery.number("voltage_now", 1)) * 1000.0;
  } else {
    return std::nullopt;
  }
  const bool discharging = Text(battery, "status") == "Discharging";
  return std::llround(discharging ? -milliamps : milliamps);
}

}  // namespace

const std::vector<std::string>& PowerSupplyAttributes() {
  static const std::vector<std::string> kAttributes = {
      "type",      "scope",       "present",        "online",   "status",
      "health",    "capacity",    "capacity_level", "charge_*", "energy_*",
      "voltage_*", "current_now", "power_now",      "temp",     "cycle_count"};
  return kAttributes;
}

BatteryReading MapPowerSupplies(const std::vector<SysfsDevice>& supplies, int64_t updateTime) {
  BatteryReading reading;
  std::vector<const SysfsDevice*> batteries;
  bool anyAdapter = false;
  bool adapterOnline = false;
  for (const SysfsDevice& supply : supplies) {
    if (IsSystemBattery(supply)) batteries.push_back(&supply);
    if (IsAdapter(supply)) {
      anyAdapter = true;
      adapterOnline = adapterOnline || supply.number("online", 0) == 1;
    }
  }
  if (batteries.empty()) return reading;
  reading.present = true;
  const SysfsDevice& first = *batteries.front();

  // Charge when every battery reports it; otherwise the mean percentage stands for it.
  double now = 0, full = 0, design = 0, percent = 0;
  bool gasGauge = true, anyDesign = false;
  bool charging = false, allFull = true, critical = false;
  for (const SysfsDevice* battery : batteries) {
    auto chargeNow = ChargeMilliampHours(*battery, "now");
    auto chargeFull = ChargeMilliampHours(*battery, "full");
    if (chargeNow && chargeFull) {
      now += *chargeNow;
      full += *chargeFull;
    } else {
      gasGauge = false;
    }
    if (auto d = ChargeMilliampHours(*battery, "full_design")) {
      design += *d;
      anyDesign = true;
    }
    double p = static_cast<double>(battery->number("capacity", -1));
    if (p < 0 && chargeNow && chargeFull && *chargeFull > 0) p = *chargeNow / *chargeFull * 100.0;
    percent += std::max(p, 0.0);
    const std::string status = Text(*battery, "status");
    charging = charging || status == "Charging";
    allFull = allFull && status == "Full";
    critical = critical || Text(*battery, "capacity_level") == "Critical";
  }
  percent /= static_cast<double>(batteries.size());

  platform::Dictionary& p = reading.properties;
  reading.gasGauge = gasGauge;
  const auto current = gasGauge ? std::llround(now) : std::llround(percent);
  const auto maximum = gasGauge ? std::llround(full) : 100LL;
  p.emplace("CurrentCapacity", Value(static_cast<int64_t>(current)));
  p.emplace("MaxCapacity", Value(static_cast<int64_t>(maximum)));
  p.emplace("AbsoluteCapacity", Value(static_cast<int64_t>(current)));
  p.emplace("VeltroRawCurrentCapacity", Value(static_cast<int64_t>(current)));
  p.emplace("VeltroRawMaxCapacity", Value(static_cast<int64_t>(maximum)));
  if (anyDesign) p.emplace("DesignCapacity", Value(static_cast<int64_t>(std::llround(design))));
  if (first.has("voltage_now")) {
    const auto millivolts =
        static_cast<int64_t>(std::llround(first.number("voltage_now", 0) / 1000.0));
    p.emplace("Voltage", Value(millivolts));
    p.emplace("VeltroRawBatteryVoltage", Value(millivolts));
  }
  if (auto amps = CurrentMilliamps(first)) {
    p.emplace("Amperage", Value(static_cast<int64_t>(*amps)));
    p.emplace("InstantAmperage", Value(static_cast<int64_t>(*amps)));
  }
  if (first.has("temp")) {
    p.emplace("Temperature", Value(static_cast<int64_t>(first.number("temp", 0) * 10)));
  }
  if (first.has("cycle_count")) {
    p.emplace("CycleCount", Value(static_cast<int64_t>(first.number("cycle_count", 0))));
  }
  // Plugged in: an adapter is online; a system that shows no adapter at all says it through
  // the battery's status.
  const std::string status = Text(first, "status");
  const bool plugged =
      anyAdapter ? adapterOnline : (charging || status == "Full" || status == "Not charging");
  p.emplace("AdapterInfo", Value(static_cast<int64_t>(plugged ? 1 : 0)));
  p.emplace("ExternalConnected", Value(plugged));
  p.emplace("IsCharging", Value(charging));
  p.emplace("FullyCharged", Value(allFull));
  p.emplace("AtCriticalLevel", Value(critical));
  const std::string health = Text(first, "health");
  if (health == "Overheat") p.emplace("ChargeStatus", Value(std::string("HighTemperature")));
  if (health == "Cold") p.emplace("ChargeStatus", Value(std::string("LowTemperature")));
  p.emplace("UpdateTime", Value(updateTime));
  return reading;
}

}  // namespace tl::linuxdev
