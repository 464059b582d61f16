// Fuzzes the battery reading: readings of the power supplies go through one gauge, a second
// apart, and whatever they say, each answer holds a capacity within 0 and its maximum and
// every number the power side reads is one it can take.
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "platform/linux/power/battery_gauge.h"
#include "sysfs_text.h"

namespace {

void Check(const tl::linuxdev::BatteryReading& reading) {
  if (!reading.present) return;
  const auto& p = reading.properties;
  const tl::platform::Value* current = tl::platform::Find(p, "CurrentCapacity");
  const tl::platform::Value* maximum = tl::platform::Find(p, "MaxCapacity");
  if (!current || !maximum) __builtin_trap();
  const int64_t c = current->longLongValue(), m = maximum->longLongValue();
  if (c < 0 || c > m) __builtin_trap();
  if (!reading.gasGauge && m != 100 && c != m) __builtin_trap();  // percent, or carried
  for (const char* key : {"Voltage", "Amperage", "Temperature", "DesignCapacity", "CycleCount"}) {
    const tl::platform::Value* value = tl::platform::Find(p, key);
    if (value && std::llabs(value->longLongValue()) > 1'000'000'000'000LL) __builtin_trap();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  tl::linuxdev::BatteryGauge gauge([](const std::string& line) {
    if (line.empty()) __builtin_trap();
  });
  double now = 0;
  for (const auto& supplies : tl::fuzz::SysfsReadings(text)) {
    Check(gauge.update(supplies, now, static_cast<int64_t>(now)));
    now += 20;  // two readings apart is past the grace
  }
  return 0;
}
