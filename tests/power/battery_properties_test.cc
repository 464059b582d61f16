// EQBatteryProperties: the snapshot, the derived values, the charging-state text and voltage.
#include <gtest/gtest.h>

#include <cmath>

#include "power/eq_battery_properties.h"
#include "test_support.h"

namespace {

using namespace tl::testing;
using tl::testing::Json;

TEST(BatteryProperties, DerivedValuesAndTheChargingStateInItsOrder) {
  CurrentDevice device(Json{{"battery",
                             {{"CurrentCapacity", 50},
                              {"MaxCapacity", 200},
                              {"VeltroRawCurrentCapacity", 30},
                              {"VeltroRawMaxCapacity", 40},
                              {"Voltage", 3850},
                              {"IsCharging", true},
                              {"FullyCharged", true},
                              {"AdapterInfo", 2},
                              {"ExternalConnected", false},
                              {"Amperage", -450},
                              {"Temperature", 3010}}}});
  auto battery = EQBatteryProperties::properties();
  EXPECT_EQ(battery->capacity(), 25.0);
  EXPECT_EQ(battery->rawCapacity(), 75.0);
  EXPECT_EQ(battery->voltage(), 3850);
  EXPECT_TRUE(battery->isPluggedIn());  // from the adapter information, not ExternalConnected
  EXPECT_EQ(battery->chargingCurrent(), -450);
  EXPECT_EQ(battery->batteryTemp(), 3010);
  EXPECT_EQ(battery->cycleCount(), 0);  // missing keys read as 0
  EXPECT_EQ(battery->humanReadableChargingState(), "Active");
  EXPECT_FALSE(battery->draining());

  struct Case {
    Json changes;
    const char* state;
    bool draining;
  };
  const Case cases[] = {
      {{{"IsCharging", false}}, "Full", false},
      {{{"IsCharging", false}, {"FullyCharged", false}}, "Inactive", true},
      // The texts' tests fire when they differ, so the names come out crossed.
      {{{"IsCharging", false}, {"FullyCharged", false}, {"ChargeStatus", "LowTemperature"}},
       "OverTemp",
       true},
      {{{"IsCharging", false}, {"FullyCharged", false}, {"ChargeStatus", "HighTemperature"}},
       "UnderTemp",
       true},
      {{{"IsCharging", false},
        {"FullyCharged", false},
        {"ChargeStatus", "BatteryTemperatureGradient"}},
       "OverTemp",
       true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.changes.dump());
    device->mergeBattery(DictionaryOf(c.changes));
    auto fresh = EQBatteryProperties::properties();
    EXPECT_EQ(fresh->humanReadableChargingState(), c.state);
    EXPECT_EQ(fresh->draining(), c.draining);
  }
}

TEST(BatteryProperties, ASnapshotIsFixedUntilItsCacheIsDropped) {
  CurrentDevice device(
      Json{{"battery", {{"CurrentCapacity", 50}, {"MaxCapacity", 100}, {"Voltage", 3800}}}});
  auto battery = EQBatteryProperties::properties();
  EXPECT_EQ(battery->currentCapacity(), 50);
  device->mergeBattery({{"CurrentCapacity", 40}, {"Voltage", 3700}});
  EXPECT_EQ(battery->currentCapacity(), 50);
  EXPECT_EQ(battery->voltage(), 3700);  // read from the entry every time
  battery->invalidateCache();
  EXPECT_EQ(battery->currentCapacity(), 40);
}

TEST(BatteryProperties, WithoutAGasGaugeTheRawVoltageIsRead) {
  CurrentDevice device(Json{{"answers", Json::object()},
                            {"battery", {{"Voltage", 3800}, {"VeltroRawBatteryVoltage", 3795}}}});
  auto battery = EQBatteryProperties::properties();
  EXPECT_FALSE(EQBatteryProperties::gasGaugeEnabled());
  EXPECT_EQ(battery->voltage(), 3795);
  device->set({{"battery", {{"Voltage", 3800}}}});
  EXPECT_EQ(battery->voltage(), -1);
  EXPECT_EQ(LogTexts(*device).back(), "Unable to look up battery voltage");
}

TEST(BatteryProperties, NoEntryAndAFailedReadAnswerNothing) {
  CurrentDevice device(Json{{"battery", nullptr}});
  auto none = EQBatteryProperties::properties();
  EXPECT_EQ(none->batteryProperties(), nullptr);
  EXPECT_EQ(none->currentCapacity(), 0.0);
  EXPECT_FALSE(none->isCharging());
  EXPECT_TRUE(std::isnan(none->capacity()));
  EXPECT_EQ(none->voltage(), -1);
  EXPECT_EQ(LogTexts(*device), std::vector<std::string>{"Unable to look up battery voltage"});

  device->set({{"battery", {{"CurrentCapacity", 1}}}});
  auto entry = EQBatteryProperties::properties();
  device->set({{"battery", nullptr}});  // the entry stops answering
  EXPECT_EQ(entry->batteryProperties(), nullptr);
  EXPECT_EQ(LogTexts(*device).back(), "Unable to get properties for battery (0xe00002f0)");
}

}  // namespace
