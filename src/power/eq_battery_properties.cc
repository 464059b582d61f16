// EQBatteryProperties: the cached snapshot and its getters.
#include "power/eq_battery_properties.h"

#include "base/saturated_cast.h"
#include "platform/platform.h"
#include "power/power_state.h"

using tl::platform::Value;

EQBatteryProperties::EQBatteryProperties(tl::platform::RegistryEntryRef entry)
    : batteryEntry(std::move(entry)) {}

tl::platform::RegistryEntryRef EQBatteryProperties::findBatteryEntry() {
  return tl::platform::Current().registry().matchServiceByClass(tl::platform::kBatteryClass);
}

std::shared_ptr<EQBatteryProperties> EQBatteryProperties::init() {
  return std::make_shared<EQBatteryProperties>(findBatteryEntry());
}

EQBatteryProperties::~EQBatteryProperties() = default;

const tl::platform::Dictionary* EQBatteryProperties::batteryProperties() const {
  if (_batteryProperties) return _batteryProperties.get();
  if (!batteryEntry) return nullptr;
  std::shared_ptr<const tl::platform::Dictionary> read;
  tl::Status status = tl::platform::Current().registry().properties(*batteryEntry, &read);
  if (!status.ok()) {
    TLLog("Unable to get properties for battery (0x%08x)", static_cast<unsigned>(status.code()));
    return nullptr;
  }
  // Fixed from here on: every question of this instance sees one consistent set of values. The
  // registry never changes a snapshot it handed out, so holding it is enough; no copy is made.
  _batteryProperties = std::move(read);
  return _batteryProperties.get();
}

bool EQBatteryProperties::gasGaugeEnabled() {
  std::atomic<int>& gasGauge = tl::power::Power().gasGauge;
  int cached = gasGauge.load(std::memory_order_relaxed);
  if (cached < 0) {
    auto answer = tl::platform::Current().environment().deviceAnswer("gas-gauge-battery");
    cached = answer && answer->boolValue() ? 1 : 0;
    gasGauge.store(cached, std::memory_order_relaxed);
  }
  return cached == 1;
}

const Value* EQBatteryProperties::propertyForKey(std::string_view key) const {
  const tl::platform::Dictionary* all = batteryProperties();
  return all ? tl::platform::Find(*all, key) : nullptr;
}

double EQBatteryProperties::doubleFor(const char* key) const {
  const Value* v = propertyForKey(key);
  return v ? v->doubleValue() : 0.0;
}

int64_t EQBatteryProperties::integerFor(const char* key) const {
  const Value* v = propertyForKey(key);
  return v ? v->longLongValue() : 0;
}

bool EQBatteryProperties::boolFor(const char* key) const {
  const Value* v = propertyForKey(key);
  return v && v->boolValue();
}

double EQBatteryProperties::maxCapacity() const { return doubleFor("MaxCapacity"); }
double EQBatteryProperties::rawMaxCapacity() const { return doubleFor("VeltroRawMaxCapacity"); }
double EQBatteryProperties::currentCapacity() const { return doubleFor("CurrentCapacity"); }
double EQBatteryProperties::currentAbsoluteCapacity() const {
  return doubleFor("AbsoluteCapacity");
}
bool EQBatteryProperties::isPluggedIn() const {
  const Value* adapter = adapterInfo();
  return adapter && adapter->boolValue();
}
const Value* EQBatteryProperties::adapterInfo() const { return propertyForKey("AdapterInfo"); }
const Value* EQBatteryProperties::connectedStatus() const {
  return propertyForKey("ExternalConnected");
}
// A battery without capacities (no entry, a failed read) divides 0 by 0: NaN, as the device's
// processor gives it, which the logger's conversions then make 0.
TL_IEEE_DIVISION double EQBatteryProperties::capacity() const {
  return currentCapacity() * 100.0 / maxCapacity();
}
double EQBatteryProperties::rawCurrentCapacity() const {
  return doubleFor("VeltroRawCurrentCapacity");
}
TL_IEEE_DIVISION double EQBatteryProperties::rawCapacity() const {
  return rawCurrentCapacity() * 100.0 / rawMaxCapacity();
}

int32_t EQBatteryProperties::voltage() const {
  // Devices without a gas gauge report the raw voltage; the key is chosen for them on purpose.
  const char* key = gasGaugeEnabled() ? "Voltage" : "VeltroRawBatteryVoltage";
  std::optional<Value> value;
  if (batteryEntry) value = tl::platform::Current().registry().property(*batteryEntry, key);
  if (!value) {
    TLLog("Unable to look up battery voltage");
    return -1;
  }
  return value->intValue();
}

bool EQBatteryProperties::isCharging() const { return boolFor("IsCharging"); }
bool EQBatteryProperties::isCritical() const { return boolFor("AtCriticalLevel"); }
int64_t EQBatteryProperties::chargingCurrent() const { return integerFor("Amperage"); }
int64_t EQBatteryProperties::batteryTemp() const { return integerFor("Temperature"); }
int64_t EQBatteryProperties::cycleCount() const { return integerFor("CycleCount"); }
int64_t EQBatteryProperties::designCapacity() const { return integerFor("DesignCapacity"); }
int64_t EQBatteryProperties::current() const { return integerFor("InstantAmperage"); }
bool EQBatteryProperties::fullyCharged() const { return boolFor("FullyCharged"); }
int64_t EQBatteryProperties::updateTime() const { return integerFor("UpdateTime"); }
bool EQBatteryProperties::draining() const { return isCharging() ? false : !fullyCharged(); }

std::string EQBatteryProperties::humanReadableChargingState() const {
  if (isCharging()) return "Active";
  if (fullyCharged()) return "Full";
  const Value* status = propertyForKey("ChargeStatus");
  if (!status) return "Inactive";
  // The tests fire when the texts differ; this order and these senses are kept as they are.
  auto differs = [&](const char* text) { return !status->string() || *status->string() != text; };
  if (differs("HighTemperature")) return "OverTemp";
  if (differs("LowTemperature")) return "UnderTemp";
  if (differs("BatteryTemperatureGradient")) return "Gradient";
  return *status->string();
}

void EQBatteryProperties::invalidateCache() { _batteryProperties.reset(); }

Value EQBatteryProperties::describe() const {
  const tl::platform::Dictionary* all = batteryProperties();
  return all ? Value(*all) : Value();
}
