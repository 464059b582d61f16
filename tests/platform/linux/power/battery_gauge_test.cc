// The battery gauge across readings: refused values, batteries gone and back, changes of gauge.
#include "platform/linux/power/battery_gauge.h"

#include <gtest/gtest.h>

namespace tl::linuxdev {
namespace {

using Attributes = std::map<std::string, std::string, std::less<>>;

// A phone's battery at 3,000 of 4,000 mAh and 3.8 V, discharging at 500 mA, at 30 °C.
Attributes Battery(Attributes changed = {}) {
  Attributes a = {{"type", "Battery"},
                  {"status", "Discharging"},
                  {"charge_now", "3000000"},
                  {"charge_full", "4000000"},
                  {"voltage_now", "3800000"},
                  {"voltage_min_design", "3700000"},
                  {"current_now", "-500000"},
                  {"capacity", "75"},
                  {"temp", "300"},
                  {"serial_number", "A1"},
                  {"charge_full_design", "4200000"}};
  for (auto& [name, value] : changed) a[name] = value;
  return a;
}

std::vector<SysfsDevice> Supplies(std::optional<Attributes> battery, bool online = false) {
  std::vector<SysfsDevice> supplies = {
      {"AC", "/sys/class/power_supply/AC", {{"type", "Mains"}, {"online", online ? "1" : "0"}}}};
  if (battery) supplies.push_back({"BAT0", "/sys/class/power_supply/BAT0", *battery});
  return supplies;
}

int64_t Integer(const BatteryReading& r, const char* key) {
  const platform::Value* v = platform::Find(r.properties, key);
  EXPECT_NE(v, nullptr) << key;
  return v ? v->longLongValue() : -1;
}

struct GaugeTest : ::testing::Test {
  std::vector<std::string> lines;
  BatteryGauge gauge{[this](const std::string& line) { lines.push_back(line); }};
  bool Said(const std::string& line) const {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
  }
};

TEST_F(GaugeTest, RefusedValuesKeepTheLastGoodOneAndAreLoggedOnceAnHour) {
  gauge.update(Supplies(Battery()), 0, 0);
  // The driver reports garbage once after resume, and the extremes of its integers.
  auto r = gauge.update(Supplies(Battery({{"charge_now", "abc"},
                                          {"current_now", "-9223372036854775808"},
                                          {"power_now", "9223372036854775807"},
                                          {"temp", "9223372036854775807"},
                                          {"capacity", "-25"},
                                          {"status", "Exploding"}})),
                        10, 0);
  EXPECT_EQ(Integer(r, "CurrentCapacity"), 3000);
  EXPECT_EQ(Integer(r, "MaxCapacity"), 4000);
  EXPECT_EQ(Integer(r, "Amperage"), -500);
  EXPECT_EQ(Integer(r, "Temperature"), 3000);
  EXPECT_EQ(lines.size(), 6u);
  EXPECT_TRUE(
      Said("power supply BAT0: charge_now \"abc\" refused (not a whole number); its "
           "last good value 3000000 stands"));
  EXPECT_TRUE(
      Said("power supply BAT0: status \"Exploding\" refused (not a known value); its "
           "last good value \"Discharging\" stands"));
  // The same refusals again within the hour say nothing; after it, each is said once more.
  gauge.update(Supplies(Battery({{"charge_now", "abc"}})), 20, 0);
  EXPECT_EQ(lines.size(), 6u);
  gauge.update(Supplies(Battery({{"charge_now", "abc"}})), 3610, 0);
  EXPECT_EQ(lines.size(), 7u);
  // A value without any good one before it is left out.
  BatteryGauge fresh;
  auto first = fresh.update(Supplies(Battery({{"temp", "x"}})), 0, 0);
  EXPECT_EQ(platform::Find(first.properties, "Temperature"), nullptr);
}

TEST_F(GaugeTest, AGaugeAboveFullIsBelievedWithinTheMarginOnly) {
  gauge.update(Supplies(Battery()), 0, 0);
  // 4,200 of 4,000 mAh: a gauge that is not calibrated; full is raised to it (100 %).
  auto r = gauge.update(Supplies(Battery({{"charge_now", "4200000"}})), 1, 0);
  EXPECT_EQ(Integer(r, "CurrentCapacity"), 4200);
  EXPECT_EQ(Integer(r, "MaxCapacity"), 4200);
  // 9,000 mAh is beyond a tenth above full: the charge stays at its last good value.
  r = gauge.update(Supplies(Battery({{"charge_now", "9000000"}})), 2, 0);
  EXPECT_EQ(Integer(r, "CurrentCapacity"), 4200);
  EXPECT_EQ(lines.back(),
            "power supply BAT0: charge_now \"9000000\" refused (above charge_full); its last good "
            "value 4200000 stands");
}

TEST_F(GaugeTest, ABatteryGoneWithinTheGraceIsTheSameOneAfterItANewOne) {
  gauge.update(Supplies(Battery()), 0, 0);
  // Gone: the last reading stands, and the reading does not change.
  auto r = gauge.update(Supplies(std::nullopt), 1, 0);
  ASSERT_TRUE(r.present);
  EXPECT_EQ(Integer(r, "CurrentCapacity"), 3000);
  EXPECT_EQ(lines.back(), "battery BAT0 is gone; its last reading stands for it for up to 30 s");
  // Back within the grace: the same battery, and what it lost meanwhile is real.
  r = gauge.update(Supplies(Battery({{"charge_now", "2990000"}})), 5, 0);
  EXPECT_EQ(Integer(r, "CurrentCapacity"), 2990);
  EXPECT_EQ(lines.back(), "battery BAT0 is back after 4 s");

  // Gone for longer than the grace: no longer counted, and its reading is held.
  gauge.update(Supplies(std::nullopt), 10, 0);
  r = gauge.update(Supplies(std::nullopt), 41, 0);
  EXPECT_EQ(lines.back(), "battery BAT0 has been gone for more than 30 s; it is no longer counted");
  EXPECT_EQ(Integer(r, "CurrentCapacity"), 2990);
  // A battery that comes then is a new one at 1,000 mAh: the capacity carries on from 2,990,
  // and its own drain counts from there.
  r = gauge.update(Supplies(Battery({{"charge_now", "1000000"}})), 50, 0);
  EXPECT_EQ(Integer(r, "CurrentCapacity"), 2990);
  EXPECT_EQ(Integer(r, "MaxCapacity"), 4000);
  r = gauge.update(Supplies(Battery({{"charge_now", "900000"}})), 60, 0);
  EXPECT_EQ(Integer(r, "CurrentCapacity"), 2890);
  // Plugged in and charging: the first reading still carries on (the power side keeps gains
  // of this interval, measured against the state before it); the second meets the battery's
  // own figure, a drop that counts for nothing while charging.
  r = gauge.update(Supplies(Battery({{"charge_now", "950000"}, {"status", "Charging"}}), true), 70,
                   0);
  EXPECT_EQ(Integer(r, "CurrentCapacity"), 2940);
  r = gauge.update(Supplies(Battery({{"charge_now", "1000000"}, {"status", "Charging"}}), true), 80,
                   0);
  EXPECT_EQ(Integer(r, "CurrentCapacity"), 1000);
}

TEST_F(GaugeTest, AnotherBatteryWithinTheGraceIsANewOne) {
  gauge.update(Supplies(Battery({{"charge_now", "1000000"}})), 0, 0);
  gauge.update(Supplies(std::nullopt), 1, 0);
  // A fuller battery with another serial number put in within seconds while unplugged: a rise
  // the power side takes as no energy, so the reading goes straight to the new figure.
  auto r =
      gauge.update(Supplies(Battery({{"serial_number", "B2"}, {"charge_now", "3800000"}})), 10, 0);
  EXPECT_TRUE(Said("battery BAT0 is back after 9 s, as a new battery"));
  EXPECT_EQ(Integer(r, "CurrentCapacity"), 3800);
  // An emptier one, reporting energy now: a drop, which is carried on instead.
  gauge.update(Supplies(std::nullopt), 11, 0);
  r = gauge.update(Supplies(Battery({{"serial_number", "C3"},
                                     {"charge_now", ""},
                                     {"charge_full", ""},
                                     {"energy_now", "7400000"},  // 2,000 mAh at 3.7 V
                                     {"energy_full", "14800000"}})),
                   12, 0);
  EXPECT_EQ(Integer(r, "CurrentCapacity"), 3800);
  EXPECT_EQ(lines.back(),
            "the battery's gauge changed to BAT0 by energy; the capacity carries on from 3800 mAh");
}

TEST_F(GaugeTest, TheUnitIsFixedByTheFirstReading) {
  // A battery that reports only a percentage at first: percent for the life of the daemon,
  // though its charge becomes readable later.
  auto r = gauge.update(Supplies(Battery({{"charge_now", "x"}, {"charge_full", "y"}})), 0, 0);
  EXPECT_FALSE(r.gasGauge);
  EXPECT_EQ(Integer(r, "CurrentCapacity"), 75);
  r = gauge.update(Supplies(Battery()), 1, 0);
  EXPECT_FALSE(r.gasGauge);
  EXPECT_EQ(Integer(r, "CurrentCapacity"), 75);
  EXPECT_EQ(Integer(r, "MaxCapacity"), 100);
}

}  // namespace
}  // namespace tl::linuxdev
