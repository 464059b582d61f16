// TLPowerEventListener: the sleep handshake, wake reasons, backlight and low-power-mode
// notifications, and the failure paths of its construction.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/tallyline_module.h"
#include "core/tl_event_listener.h"
#include "power/eq_battery_properties.h"
#include "power/eq_notifications.h"
#include "power/power_test_support.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace tl::testing;
using namespace tl::platform;
using tl::testing::Json;

TEST(PowerListener, SleepMessagesPostThenAcknowledgeWithTheirIdentifier) {
  PowerTest t;
  auto& registry = t.device().simRegistry();
  t.posted.clear();
  t.ackCountAtPost.clear();
  registry.systemPowerMessage(kMessageCanSystemSleep, 41);
  registry.systemPowerMessage(kMessageSystemWillSleep, 42);
  registry.systemPowerMessage(kMessageSystemWillPowerOn, 43);
  registry.systemPowerMessage(0xE0000999, 44);
  registry.systemPowerMessage(kMessageSystemHasPoweredOn, 45);
  t.device().runUntilIdle();

  EXPECT_THAT(t.names(),
              ElementsAre("EQDeviceCanSleepNotification", "EQDeviceWillSleepNotification",
                          "EQDeviceDidWakeNotification"));
  // Each sleep notification is delivered before its acknowledgement, which carries its id.
  EXPECT_THAT(t.ackCountAtPost, ElementsAre(0, 1, 2));
  EXPECT_THAT(t.device().recorded().powerAcks(), ElementsAre(41, 42));
  for (const auto& n : t.posted) EXPECT_EQ(n.object, t.listener());
  EXPECT_TRUE(t.posted[0].userInfo.empty());
}

TEST(PowerListener, WakeReasonIsTrimmedOrUnknown) {
  PowerTest t(Json{{"wake_reason", " \t spu_ferrite dock\n\n"}});
  EXPECT_EQ(t.listener()->wakeReason(), "spu_ferrite dock");
  t.device().simRegistry().systemPowerMessage(kMessageSystemHasPoweredOn, 1);
  t.device().runUntilIdle();
  ASSERT_EQ(t.posted.size(), 1u);
  EXPECT_EQ(t.posted[0].userInfo,
            Dictionary({{"EQDeviceDidWakeSystemReason", "spu_ferrite dock"}}));

  t.device().set({{"wake_reason", nullptr}});
  EXPECT_EQ(t.listener()->wakeReason(), "<unknown>");
  EXPECT_EQ(LogTexts(t.device()).back(), "Could not get wake reason (errno: 2)");
}

TEST(PowerListener, BacklightReadingsPostOnlyWhenTheSideChanges) {
  PowerTest t(Json{{"backlight", {{"min", 0}, {"max", 100}, {"value", 70}}}});
  EXPECT_THAT(t.posted, IsEmpty());  // the initial read posts nothing
  // The first reading always posts; 0 and below are off, 1 and above on.
  for (int64_t value : {70, 0, -3, 1, 200, 0, 9}) {
    t.device().setBacklightValue(value);
    t.device().runUntilIdle();
  }
  // A brightness without a value reads as off.
  t.device().set({{"backlight", Json::object()}});
  t.device().simRegistry().backlightMessage(kMessageServicePropertyChange);
  t.device().simRegistry().backlightMessage(kMessageBatteryStatusChanged);  // ignored
  t.device().runUntilIdle();
  EXPECT_THAT(t.names(),
              ElementsAre("EQDeviceBacklightOnNotification", "EQDeviceBacklightOffNotification",
                          "EQDeviceBacklightOnNotification", "EQDeviceBacklightOffNotification",
                          "EQDeviceBacklightOnNotification", "EQDeviceBacklightOffNotification"));
  for (const auto& n : t.posted) {
    EXPECT_EQ(n.object, nullptr);
    EXPECT_TRUE(n.userInfo.empty());
  }
}

TEST(PowerListener, LowPowerModeChangesCarryTheNotificationsState) {
  PowerTest t(Json{{"lpm", 1}});
  EXPECT_THAT(t.posted, IsEmpty());  // no state is read at registration
  t.device().postNamedNotification("com.veltro.system.batterysavermode", 1);
  t.device().runUntilIdle();
  t.device().postNamedNotification("com.veltro.system.batterysavermode", 0);
  t.device().runUntilIdle();
  ASSERT_EQ(t.posted.size(), 2u);
  EXPECT_EQ(t.posted[0].name, "EQLPMStatusDidChangeNotification");
  const Value* status = Find(t.posted[0].userInfo, "EQLPMStatusDidChangeNotification");
  ASSERT_TRUE(status);
  EXPECT_EQ(*status,
            Value(Dictionary{{"mode", "com.veltro.system.batterysavermode"}, {"value", 1}}));
  EXPECT_FALSE(status->find("value")->isBool());
  EXPECT_EQ(*Find(t.posted[1].userInfo, "EQLPMStatusDidChangeNotification")->find("value"),
            Value(0));
  EXPECT_EQ(t.posted[1].object, t.listener());
}

TEST(PowerListener, OnlyABatteryStatusMessageMakesAPropertiesObject) {
  PowerTest t(Json{{"battery", {{"CurrentCapacity", 50}, {"MaxCapacity", 200}}}});
  t.device().simRegistry().batteryMessage(kMessageServicePropertyChange);
  t.device().runUntilIdle();
  EXPECT_THAT(t.posted, IsEmpty());
  t.device().mergeBattery({{"CurrentCapacity", 40}});
  t.device().runUntilIdle();
  ASSERT_EQ(t.posted.size(), 1u);
  EXPECT_EQ(t.posted[0].name, "EQBatteryStatusDidChangeNotification");
  auto object = Find(t.posted[0].userInfo, "EQBatteryStatusPropertiesKey")->sharedObject();
  auto properties = std::dynamic_pointer_cast<const EQBatteryProperties>(object);
  ASSERT_TRUE(properties);
  EXPECT_EQ(properties->capacity(), 20.0);
  EXPECT_TRUE(TLPowerEventListener::nonUIBuild());  // no release type is known
}

TEST(PowerListener, NoBatteryEntryFailsConstructionAndTheHubGoesOn) {
  CurrentDevice device(Json{{"battery", nullptr}});
  CountingHandle handle(*device);
  TLEventModuleInitializer(&handle);
  device->runUntilIdle();
  EXPECT_EQ(LogTexts(*device)[0], "Error calling DVServiceAddInterestNotification (0xe00002c2)");
  // The thermal samples still come: the hub finished its start-up without the listener.
  device->setThermalLevel(2);
  device->runUntilIdle();
  EXPECT_EQ(device->recorded().distributions().size(), 1u);
  EXPECT_EQ(device->simRegistry().powerRegistrations(), 0u);
}

TEST(PowerListener, NoBacklightFailsConstructionAfterTheSystemPowerRegistration) {
  PowerTest t(Json{{"backlight", nullptr}});
  EXPECT_EQ(t.listener(), nullptr);
  EXPECT_THAT(LogTexts(t.device()),
              ElementsAre("Error calling DVServiceAddInterestNotification for backlight service "
                          "(0xe00002c2)"));
  // The release took the system-power registration away; the battery interest stays, on
  // purpose, and its messages reach nobody.
  EXPECT_EQ(t.device().simRegistry().powerRegistrations(), 0u);
  EXPECT_EQ(t.device().simRegistry().interestRegistrations(), 1u);
  t.device().mergeBattery({{"CurrentCapacity", 10}});
  t.device().runUntilIdle();
  EXPECT_THAT(t.posted, IsEmpty());
}

TEST(PowerListener, ExportedNamesHaveTheirContractValues) {
  const std::pair<const char*, const char*> names[] = {
      {EQDeviceCanSleepNotification, "EQDeviceCanSleepNotification"},
      {EQDeviceWillSleepNotification, "EQDeviceWillSleepNotification"},
      {EQDeviceDidWakeNotification, "EQDeviceDidWakeNotification"},
      {EQDeviceDidWakeSystemReasonKey, "EQDeviceDidWakeSystemReason"},
      {EQDeviceDidWakeBasebandReasonKey, "EQDeviceDidWakeBasebandReason"},
      {EQDeviceDidWakeBasebandDecodedInfoKey, "EQDeviceDidWakeBasebandDecodedInfo"},
      {EQBatteryStatusDidChangeNotification, "EQBatteryStatusDidChangeNotification"},
      {EQBatteryStatusPropertiesKey, "EQBatteryStatusPropertiesKey"},
      {EQDeviceBacklightOnNotification, "EQDeviceBacklightOnNotification"},
      {EQDeviceBacklightOffNotification, "EQDeviceBacklightOffNotification"},
      {EQLPMStatusDidChangeNotification, "EQLPMStatusDidChangeNotification"},
  };
  for (const auto& [exported, value] : names) EXPECT_STREQ(exported, value);
}

}  // namespace
