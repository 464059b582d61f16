// EQBatteryProperties: a snapshot of the battery entry's properties, read once and answered from
// a cache, with typed getters.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/device_registry.h"
#include "platform/value.h"

// Not thread-safe: one instance is used on one queue at a time. An object in a notification's
// user info describes itself as its property dictionary.
class EQBatteryProperties : public tl::platform::Object {
 public:
  // initWithBatteryEntry: holds (retains) the entry; the cache starts empty.
  explicit EQBatteryProperties(tl::platform::RegistryEntryRef batteryEntry);
  // init: the first registry service of the battery class (none when there is none).
  static std::shared_ptr<EQBatteryProperties> init();
  // That service, for a snapshot that lives on the stack of one event.
  static tl::platform::RegistryEntryRef findBatteryEntry();
  // The class operation properties: a new instance made with init.
  static std::shared_ptr<EQBatteryProperties> properties() { return init(); }
  ~EQBatteryProperties() override;  // dealloc

  // The cache: all the entry's properties, read on the first question.
  const tl::platform::Dictionary* batteryProperties() const;
  // Whether the device has a gas gauge; asked once per process.
  static bool gasGaugeEnabled();

  double maxCapacity() const;
  double rawMaxCapacity() const;
  double currentCapacity() const;
  double currentAbsoluteCapacity() const;
  // Taken from the adapter information on purpose, not from "ExternalConnected".
  bool isPluggedIn() const;
  const tl::platform::Value* adapterInfo() const;
  const tl::platform::Value* connectedStatus() const;
  // Percent of maxCapacity; unguarded, so a zero maximum gives infinity or NaN.
  double capacity() const;
  double rawCurrentCapacity() const;
  double rawCapacity() const;
  // Millivolts, read from the entry itself and not from the cache; -1 when it is missing.
  int32_t voltage() const;
  bool isCharging() const;
  bool isCritical() const;
  int64_t chargingCurrent() const;
  int64_t batteryTemp() const;
  int64_t cycleCount() const;
  int64_t designCapacity() const;
  int64_t current() const;
  bool fullyCharged() const;
  int64_t updateTime() const;
  bool draining() const;
  const tl::platform::Value* propertyForKey(std::string_view key) const;
  std::string humanReadableChargingState() const;
  // Drops the cache; the next question reads the entry again.
  void invalidateCache();

  tl::platform::Value describe() const override;
  const tl::platform::Dictionary* describedDictionary() const override {
    return batteryProperties();
  }

 private:
  double doubleFor(const char* key) const;
  int64_t integerFor(const char* key) const;
  bool boolFor(const char* key) const;

  tl::platform::RegistryEntryRef batteryEntry;
  // The registry's snapshot, shared with its other readers and never changed by anyone.
  mutable std::shared_ptr<const tl::platform::Dictionary> _batteryProperties;
};
