// Power supplies to the battery dictionary: units, signs, missing attributes, several supplies.
#include <gtest/gtest.h>

#include "platform/linux/power/battery_gauge.h"

namespace tl::linuxdev {
namespace {

using platform::Value;

SysfsDevice Supply(std::string name, std::map<std::string, std::string, std::less<>> attributes) {
  return SysfsDevice{std::move(name), "/sys/class/power_supply/x", std::move(attributes)};
}

int64_t Integer(const platform::Dictionary& d, const char* key) {
  const Value* v = platform::Find(d, key);
  EXPECT_NE(v, nullptr) << key;
  return v ? v->longLongValue() : -1;
}

TEST(PowerSupplyTest, ChargeReportingBatteryInTheModulesUnits) {
  auto reading =
      MapPowerSupplies({Supply("AC", {{"type", "Mains"}, {"online", "1"}}),
                        Supply("BAT0", {{"type", "Battery"},
                                        {"status", "Charging"},
                                        {"charge_now", "1500000"},  // µAh
                                        {"charge_full", "3000000"},
                                        {"charge_full_design", "3100000"},
                                        {"voltage_now", "3912345"},  // µV
                                        {"current_now", "-750000"},  // µA, this driver's sign
                                        {"temp", "315"},             // tenths of °C
                                        {"cycle_count", "42"}})},
                       1700000000);
  ASSERT_TRUE(reading.present);
  EXPECT_TRUE(reading.gasGauge);
  const auto& p = reading.properties;
  EXPECT_EQ(Integer(p, "CurrentCapacity"), 1500);
  EXPECT_EQ(Integer(p, "MaxCapacity"), 3000);
  EXPECT_EQ(Integer(p, "AbsoluteCapacity"), 1500);
  EXPECT_EQ(Integer(p, "DesignCapacity"), 3100);
  EXPECT_EQ(Integer(p, "Voltage"), 3912);
  EXPECT_EQ(Integer(p, "VeltroRawBatteryVoltage"), 3912);
  // Charging: the current is positive whatever sign the driver used.
  EXPECT_EQ(Integer(p, "Amperage"), 750);
  EXPECT_EQ(Integer(p, "Temperature"), 3150);
  EXPECT_EQ(Integer(p, "CycleCount"), 42);
  EXPECT_EQ(Integer(p, "AdapterInfo"), 1);
  EXPECT_TRUE(platform::Find(p, "IsCharging")->boolValue());
  EXPECT_FALSE(platform::Find(p, "FullyCharged")->boolValue());
  EXPECT_EQ(Integer(p, "UpdateTime"), 1700000000);
  // Integers stay integers: the module's conversions depend on the kind.
  EXPECT_TRUE(platform::Find(p, "CurrentCapacity")->isInteger());
}

TEST(PowerSupplyTest, EnergyReportingBatteryIsConvertedAtItsDesignVoltage) {
  auto reading = MapPowerSupplies(
      {Supply("BAT1", {{"type", "Battery"},
                       {"status", "Discharging"},
                       {"energy_now", "37000000"},  // 37 Wh at 7.4 V design: 5000 mAh
                       {"energy_full", "44400000"},
                       {"voltage_min_design", "7400000"},
                       {"voltage_now", "8000000"},
                       {"power_now", "8000000"}})},  // 8 W at 8 V: 1000 mA, discharging
      0);
  ASSERT_TRUE(reading.gasGauge);
  EXPECT_EQ(Integer(reading.properties, "CurrentCapacity"), 5000);
  EXPECT_EQ(Integer(reading.properties, "MaxCapacity"), 6000);
  EXPECT_EQ(Integer(reading.properties, "Amperage"), -1000);
  // No adapter is listed: the battery's status says it is not plugged in.
  EXPECT_EQ(Integer(reading.properties, "AdapterInfo"), 0);
  EXPECT_EQ(platform::Find(reading.properties, "DesignCapacity"), nullptr);
}

TEST(PowerSupplyTest, PercentageOnlyAndPeripheralAndMissingBatteries) {
  auto percent = MapPowerSupplies(
      {Supply("hidpp_battery_0", {{"type", "Battery"}, {"scope", "Device"}, {"capacity", "5"}}),
       Supply("battery", {{"type", "Battery"}, {"status", "Full"}, {"capacity", "64"}}),
       Supply("usb", {{"type", "USB"}, {"online", "0"}})},
      0);
  ASSERT_TRUE(percent.present);
  EXPECT_FALSE(percent.gasGauge);  // the mouse's battery is not the system's
  EXPECT_EQ(Integer(percent.properties, "CurrentCapacity"), 64);
  EXPECT_EQ(Integer(percent.properties, "MaxCapacity"), 100);
  EXPECT_EQ(Integer(percent.properties, "VeltroRawCurrentCapacity"), 64);
  EXPECT_EQ(Integer(percent.properties, "VeltroRawMaxCapacity"), 100);
  EXPECT_EQ(platform::Find(percent.properties, "Voltage"), nullptr);
  // An adapter is listed and offline: not plugged in, though the battery is full.
  EXPECT_EQ(Integer(percent.properties, "AdapterInfo"), 0);
  EXPECT_TRUE(platform::Find(percent.properties, "FullyCharged")->boolValue());

  EXPECT_FALSE(MapPowerSupplies({Supply("BAT0", {{"type", "Battery"}, {"present", "0"}}),
                                 Supply("AC", {{"type", "Mains"}, {"online", "1"}})},
                                0)
                   .present);
}

TEST(PowerSupplyTest, TwoBatteriesMakeOne) {
  auto reading = MapPowerSupplies({Supply("BAT0", {{"type", "Battery"},
                                                   {"status", "Discharging"},
                                                   {"charge_now", "1000000"},
                                                   {"charge_full", "2000000"},
                                                   {"voltage_now", "11100000"},
                                                   {"health", "Overheat"}}),
                                   Supply("BAT1", {{"type", "Battery"},
                                                   {"status", "Charging"},
                                                   {"charge_now", "500000"},
                                                   {"charge_full", "1000000"},
                                                   {"voltage_now", "12000000"},
                                                   {"capacity_level", "Critical"}})},
                                  0);
  EXPECT_EQ(Integer(reading.properties, "CurrentCapacity"), 1500);
  EXPECT_EQ(Integer(reading.properties, "MaxCapacity"), 3000);
  EXPECT_EQ(Integer(reading.properties, "Voltage"), 11100);  // the first battery's
  EXPECT_TRUE(platform::Find(reading.properties, "IsCharging")->boolValue());
  EXPECT_TRUE(platform::Find(reading.properties, "AtCriticalLevel")->boolValue());
  EXPECT_EQ(*platform::Find(reading.properties, "ChargeStatus")->string(), "HighTemperature");
  // Charging with no adapter listed counts as plugged in.
  EXPECT_EQ(Integer(reading.properties, "AdapterInfo"), 1);
}

}  // namespace
}  // namespace tl::linuxdev
