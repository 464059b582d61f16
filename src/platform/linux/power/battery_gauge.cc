// BatteryGauge: held values, batteries that go and come back, and changes of gauge.
#include "platform/linux/power/battery_gauge.h"

#include <algorithm>
#include <cmath>

namespace tl::linuxdev {

namespace {

using platform::Value;

bool IsBattery(const SupplyValues& supply) {
  return supply.text("type") == "Battery" && supply.text("scope") != "Device";
}

bool IsAdapter(const SupplyValues& supply) {
  const std::string type = supply.text("type");
  return type == "Mains" || type == "USB" || type == "Wireless";
}

bool Present(const SupplyValues& fresh, const SupplyValues& held) {
  if (const int64_t* present = fresh.number("present")) return *present != 0;
  const int64_t* present = held.number("present");
  return !present || *present != 0;
}

// Whether what a battery says of itself tells it from the one that was there: only what both
// report counts, as a gauge coming back may not yet answer every question.
bool SameBattery(const SupplyValues& before, const SupplyValues& now) {
  for (const char* name : {"model_name", "manufacturer", "serial_number"}) {
    auto a = before.texts.find(name);
    auto b = now.texts.find(name);
    if (a != before.texts.end() && b != now.texts.end() && a->second != b->second) return false;
  }
  for (const char* name : {"charge_full_design", "energy_full_design"}) {
    const int64_t* a = before.number(name);
    const int64_t* b = now.number(name);
    if (a && b && *a != *b) return false;
  }
  return true;
}

void Merge(const SupplyValues& fresh, SupplyValues& held) {
  for (const auto& [name, value] : fresh.numbers) held.numbers[name] = value;
  for (const auto& [name, value] : fresh.texts) held.texts[name] = value;
}

int64_t Integer(const platform::Dictionary& p, const char* key) {
  const Value* value = platform::Find(p, key);
  return value ? value->longLongValue() : 0;
}

bool ChargingOnAdapter(const platform::Dictionary& p) {
  const Value* charging = platform::Find(p, "IsCharging");
  return Integer(p, "AdapterInfo") == 1 && charging && charging->boolValue();
}

void SetPlugged(platform::Dictionary& p, bool plugged) {
  p["AdapterInfo"] = Value(int64_t{plugged ? 1 : 0});
  p["ExternalConnected"] = Value(plugged);
}

std::string Seconds(double seconds) { return std::to_string(std::llround(seconds)) + " s"; }

}  // namespace

void BatteryGauge::merge(const SysfsDevice& supply, double now) {
  std::vector<Refusal> refused;
  SupplyValues fresh = CheckSupplyAttributes(supply, &refused);
  Tracked& tracked = supplies_[supply.name];
  if (tracked.generation == 0) tracked.generation = ++generations_;
  const bool present = Present(fresh, tracked.held);
  if (tracked.goneSince && present) {
    const double away = now - *tracked.goneSince;
    if (away <= kBatteryGraceSeconds && SameBattery(tracked.held, fresh)) {
      say("battery " + supply.name + " is back after " + Seconds(away));
    } else {
      say("battery " + supply.name + " is back after " + Seconds(away) + ", as a new battery");
      tracked.held = {};
      tracked.generation = ++generations_;
    }
    tracked.goneSince.reset();
  }
  // A battery is counted from the first reading that shows it present.
  if (present) tracked.counted = true;
  for (const Refusal& refusal : refused) {
    const std::string key = supply.name + "/" + refusal.attribute;
    auto logged = refusalLogged_.find(key);
    if (logged != refusalLogged_.end() && now - logged->second < kRefusalLogSeconds) continue;
    refusalLogged_[key] = now;
    std::string kept = "it has no good value yet";
    if (const int64_t* number = tracked.held.number(refusal.attribute)) {
      kept = "its last good value " + std::to_string(*number) + " stands";
    } else if (auto text = tracked.held.texts.find(refusal.attribute);
               text != tracked.held.texts.end()) {
      kept = "its last good value \"" + text->second + "\" stands";
    }
    say("power supply " + supply.name + ": " + refusal.attribute + " \"" + refusal.value +
        "\" refused (" + refusal.why + "); " + kept);
  }
  Merge(fresh, tracked.held);
}

void BatteryGauge::follow(const std::string& name, bool present, double now) {
  Tracked& tracked = supplies_[name];
  if (present || !tracked.counted) return;
  if (!tracked.goneSince) {
    tracked.goneSince = now;
    say("battery " + name + " is gone; its last reading stands for it for up to " +
        Seconds(kBatteryGraceSeconds));
  } else if (now - *tracked.goneSince > kBatteryGraceSeconds) {
    tracked.counted = false;
    say("battery " + name + " has been gone for more than " + Seconds(kBatteryGraceSeconds) +
        "; it is no longer counted");
  }
}

BatteryReading BatteryGauge::hold(std::optional<bool> adapterOnline, int64_t updateTime) {
  BatteryReading reading = *last_;
  platform::Dictionary& p = reading.properties;
  if (adapterOnline) SetPlugged(p, *adapterOnline);
  p["IsCharging"] = Value(false);
  p["FullyCharged"] = Value(false);
  p["UpdateTime"] = Value(updateTime);
  gauge_.clear();
  lastChargingOnAdapter_ = false;
  last_ = reading;
  return reading;
}

BatteryReading BatteryGauge::update(const std::vector<SysfsDevice>& supplies, double now,
                                    int64_t updateTime) {
  std::map<std::string, bool> listed;  // name -> present
  for (const SysfsDevice& supply : supplies) {
    merge(supply, now);
    listed[supply.name] = Present({}, supplies_[supply.name].held);
  }
  std::optional<bool> adapterOnline;
  std::vector<NamedBattery> batteries;
  for (auto& [name, tracked] : supplies_) {
    auto seen = listed.find(name);
    const bool present = seen != listed.end() && seen->second;
    if (IsAdapter(tracked.held) && present) {
      const int64_t* online = tracked.held.number("online");
      adapterOnline = adapterOnline.value_or(false) || (online && *online != 0);
    }
    if (!IsBattery(tracked.held)) continue;
    follow(name, present, now);
    if (tracked.counted) batteries.push_back({name, &tracked.held});
  }
  if (batteries.empty()) {
    if (last_ && last_->present) return hold(adapterOnline, updateTime);
    gauge_.clear();
    last_ = BatteryReading{};
    return *last_;
  }

  if (!gasGauge_) {
    gasGauge_ = std::all_of(batteries.begin(), batteries.end(), [](const NamedBattery& b) {
      const ChargeSource source = ChargeOf(*b.values, true).source;
      return source == ChargeSource::kCharge || source == ChargeSource::kEnergy;
    });
  }
  double current = 0, full = 0;
  int counted = 0;
  std::string gauge, described;  // which batteries by which source; the same in words
  for (const NamedBattery& battery : batteries) {
    const BatteryCharge charge = ChargeOf(*battery.values, *gasGauge_);
    if (charge.source == ChargeSource::kNone) continue;
    current += charge.now;
    full += charge.full;
    ++counted;
    const std::string source = ChargeSourceName(charge.source);
    gauge += battery.name + "#" + std::to_string(supplies_[battery.name].generation) + ":" +
             source + " ";
    described += (described.empty() ? "" : ", ") + battery.name + " by " + source;
  }
  if (counted == 0 && last_ && last_->present) return hold(adapterOnline, updateTime);
  if (!*gasGauge_) {
    current = counted ? current / counted : 0;
    full = 100;
  }

  BatteryReading reading;
  reading.present = true;
  reading.gasGauge = *gasGauge_;
  reading.properties = BatteryDictionary(batteries, adapterOnline, updateTime);
  const bool chargingOnAdapter = ChargingOnAdapter(reading.properties);
  if (last_ && last_->present && gauge != gauge_) {
    const double before = static_cast<double>(Integer(last_->properties, "CurrentCapacity"));
    offset_ = before - current;
    say("the battery's gauge changed to " + (described.empty() ? "nothing" : described) +
        "; the capacity carries on from " + std::to_string(std::llround(before)) +
        (*gasGauge_ ? " mAh" : " %"));
  }
  gauge_ = gauge;
  // Moving to the new gauge's own figure is safe where the power side keeps no energy for it.
  if ((offset_ > 0 && chargingOnAdapter && lastChargingOnAdapter_) ||
      (offset_ < 0 && !chargingOnAdapter && !lastChargingOnAdapter_)) {
    offset_ = 0;
  }
  double capacity = current + offset_;
  if (capacity < 0) {
    offset_ = -current;
    capacity = 0;
  }
  SetCapacities(reading.properties, capacity, std::max(full, capacity));
  lastChargingOnAdapter_ = chargingOnAdapter;
  last_ = reading;
  return reading;
}

BatteryReading MapPowerSupplies(const std::vector<SysfsDevice>& supplies, int64_t updateTime) {
  return BatteryGauge().update(supplies, 0, updateTime);
}

}  // namespace tl::linuxdev
