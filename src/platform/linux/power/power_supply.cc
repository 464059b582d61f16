// PowerSupply: checked power-supply values to the battery dictionary.
#include "platform/linux/power/power_supply.h"

#include <algorithm>
#include <cmath>

namespace tl::linuxdev {

namespace {

using platform::Value;

// The voltage at which a battery's energy is turned into charge: its design voltage, which
// does not move with the load, else the present one; 0 when it reports none.
double ConversionMicrovolts(const SupplyValues& battery) {
  for (const char* name : {"voltage_min_design", "voltage_max_design", "voltage_now"}) {
    if (const int64_t* value = battery.number(name)) return static_cast<double>(*value);
  }
  return 0;
}

// mAh from "charge_<which>", or from "energy_<which>" at the conversion voltage.
std::optional<double> MilliampHours(const SupplyValues& battery, const std::string& which,
                                    ChargeSource* source = nullptr) {
  if (const int64_t* charge = battery.number("charge_" + which)) {
    if (source) *source = ChargeSource::kCharge;
    return static_cast<double>(*charge) / 1000.0;
  }
  const int64_t* energy = battery.number("energy_" + which);
  const double volts = ConversionMicrovolts(battery);
  if (!energy || volts <= 0) return std::nullopt;
  if (source) *source = ChargeSource::kEnergy;
  return static_cast<double>(*energy) / volts * 1000.0;
}

// Both present and full from one source, so that a charge is never set against an energy.
std::optional<BatteryCharge> ChargeAndFull(const SupplyValues& battery) {
  ChargeSource nowSource = ChargeSource::kNone, fullSource = ChargeSource::kNone;
  auto now = MilliampHours(battery, "now", &nowSource);
  auto full = MilliampHours(battery, "full", &fullSource);
  if (!now || !full || nowSource != fullSource) return std::nullopt;
  return BatteryCharge{*now, *full, nowSource};
}

// The battery's current in mA, negative while it discharges: current_now, else power_now over
// the present voltage. Drivers differ in the sign they give; the status decides it.
std::optional<int64_t> CurrentMilliamps(const SupplyValues& battery) {
  double milliamps = 0;
  const int64_t* volts = battery.number("voltage_now");
  if (const int64_t* current = battery.number("current_now")) {
    milliamps = std::abs(static_cast<double>(*current)) / 1000.0;
  } else if (const int64_t* power = battery.number("power_now"); power && volts) {
    milliamps = std::abs(static_cast<double>(*power)) / static_cast<double>(*volts) * 1000.0;
  } else {
    return std::nullopt;
  }
  const bool discharging = battery.text("status") == "Discharging";
  return std::llround(discharging ? -milliamps : milliamps);
}

int64_t Rounded(double value) { return std::llround(value); }

}  // namespace

const char* ChargeSourceName(ChargeSource source) {
  switch (source) {
    case ChargeSource::kCharge:
      return "charge";
    case ChargeSource::kEnergy:
      return "energy";
    case ChargeSource::kPercent:
      return "percentage";
    case ChargeSource::kNone:
      break;
  }
  return "nothing";
}

BatteryCharge ChargeOf(const SupplyValues& battery, bool inMilliampHours) {
  const int64_t* percent = battery.number("capacity");
  auto charge = ChargeAndFull(battery);
  if (inMilliampHours) {
    if (charge) return *charge;
    auto full = MilliampHours(battery, "full");
    if (percent && full) {
      return {static_cast<double>(*percent) / 100.0 * *full, *full, ChargeSource::kPercent};
    }
    return {};
  }
  if (percent) return {static_cast<double>(*percent), 100, ChargeSource::kPercent};
  if (charge && charge->full > 0) {
    return {std::min(charge->now / charge->full * 100.0, 100.0), 100, charge->source};
  }
  return {};
}

platform::Dictionary BatteryDictionary(const std::vector<NamedBattery>& batteries,
                                       std::optional<bool> adapterOnline, int64_t updateTime) {
  platform::Dictionary p;
  const SupplyValues& first = *batteries.front().values;
  double design = 0;
  bool anyDesign = false, charging = false, allFull = true, critical = false;
  for (const NamedBattery& battery : batteries) {
    if (auto d = MilliampHours(*battery.values, "full_design")) {
      design += *d;
      anyDesign = true;
    }
    const std::string status = battery.values->text("status");
    charging = charging || status == "Charging";
    allFull = allFull && status == "Full";
    critical = critical || battery.values->text("capacity_level") == "Critical";
  }
  if (anyDesign) p.emplace("DesignCapacity", Value(Rounded(design)));
  if (const int64_t* volts = first.number("voltage_now")) {
    const int64_t millivolts = Rounded(static_cast<double>(*volts) / 1000.0);
    p.emplace("Voltage", Value(millivolts));
    p.emplace("VeltroRawBatteryVoltage", Value(millivolts));
  }
  if (auto amps = CurrentMilliamps(first)) {
    p.emplace("Amperage", Value(*amps));
    p.emplace("InstantAmperage", Value(*amps));
  }
  if (const int64_t* temp = first.number("temp")) p.emplace("Temperature", Value(*temp * 10));
  if (const int64_t* cycles = first.number("cycle_count")) p.emplace("CycleCount", Value(*cycles));
  // Plugged in: an adapter is online; a system that shows no adapter at all says it through
  // the battery's status.
  const std::string status = first.text("status");
  const bool plugged =
      adapterOnline.value_or(charging || status == "Full" || status == "Not charging");
  p.emplace("AdapterInfo", Value(int64_t{plugged ? 1 : 0}));
  p.emplace("ExternalConnected", Value(plugged));
  p.emplace("IsCharging", Value(charging));
  p.emplace("FullyCharged", Value(allFull));
  p.emplace("AtCriticalLevel", Value(critical));
  const std::string health = first.text("health");
  if (health == "Overheat") p.emplace("ChargeStatus", Value(std::string("HighTemperature")));
  if (health == "Cold") p.emplace("ChargeStatus", Value(std::string("LowTemperature")));
  p.emplace("UpdateTime", Value(updateTime));
  return p;
}

void SetCapacities(platform::Dictionary& p, double current, double maximum) {
  for (const char* key : {"CurrentCapacity", "AbsoluteCapacity", "VeltroRawCurrentCapacity"}) {
    p[key] = Value(Rounded(current));
  }
  for (const char* key : {"MaxCapacity", "VeltroRawMaxCapacity"}) p[key] = Value(Rounded(maximum));
}

}  // namespace tl::linuxdev
