// The simulated device answers every role from its data, and carries itself over a restart.
#include <date/tz.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <random>

#include "test_device.h"

namespace {

using ::testing::ElementsAre;
using namespace tl::platform;
using tl::sim::SimDevice;
using tl::testing::Counters;
using tl::testing::Json;
using tl::testing::TestDevice;

TEST(SimDevice, RegistryServesBatteryAndBacklightWithTheirMessages) {
  TestDevice device({{"battery", {{"CurrentCapacity", 1500}, {"Voltage", 3800}}},
                     {"backlight", {{"min", 0}, {"max", 200}, {"value", 80}}}});
  auto& registry = device.registry();
  RegistryEntryRef battery = registry.matchServiceByClass("DVPMPowerSource");
  ASSERT_TRUE(battery);
  std::shared_ptr<const Dictionary> properties;
  ASSERT_TRUE(registry.properties(*battery, &properties).ok());
  EXPECT_EQ(properties->at("CurrentCapacity"), Value(1500));
  EXPECT_TRUE(properties->at("CurrentCapacity").isInteger());
  // Reads share one snapshot until the battery changes.
  std::shared_ptr<const Dictionary> again;
  ASSERT_TRUE(registry.properties(*battery, &again).ok());
  EXPECT_EQ(again, properties);

  Dictionary matching{{kPropertyMatchKey, Dictionary{{"backlight-control", true}}}};
  RegistryEntryRef backlight = registry.matchServiceByProperties(matching);
  ASSERT_TRUE(backlight);
  auto display = registry.property(*backlight, "DVDisplayParameters");
  ASSERT_TRUE(display);
  EXPECT_EQ(*display->find("brightness")->find("max"), Value(200));

  // Interest messages arrive on the port's queue with the service that sent them.
  auto queue = device.dispatch().createSerialQueue("host", QualityOfService::kDefault);
  auto port = registry.createNotificationPort();
  port->setDispatchQueue(*queue);
  std::vector<uint32_t> messages;
  std::unique_ptr<Registration> interest;
  ASSERT_TRUE(registry
                  .addInterestNotification(
                      *port, battery, kGeneralInterest,
                      [&](const RegistryEntryRef& service, uint32_t type, intptr_t) {
                        EXPECT_EQ(service, battery);
                        // The merged properties are what the service reads now.
                        EXPECT_EQ(*device.registry().property(*service, "Voltage"), Value(3700));
                        messages.push_back(type);
                      },
                      &interest)
                  .ok());
  device.mergeBattery({{"Voltage", 3700}});
  device.runUntilIdle();
  EXPECT_THAT(messages, ElementsAre(kMessageBatteryStatusChanged));
  EXPECT_EQ(*registry.property(*battery, "CurrentCapacity"), Value(1500));  // merged, kept
  // A snapshot read before the change still holds what it held; a new read has the change.
  EXPECT_EQ(properties->at("Voltage"), Value(3800));
  ASSERT_TRUE(registry.properties(*battery, &again).ok());
  EXPECT_EQ(again->at("Voltage"), Value(3700));
  device.set({{"battery", {{"Voltage", 3600}}}});
  ASSERT_TRUE(registry.properties(*battery, &again).ok());
  EXPECT_EQ(again->at("Voltage"), Value(3600));

  // No entry: no match, and an interest on nothing fails.
  device.set({{"battery", nullptr}, {"backlight", nullptr}});
  EXPECT_FALSE(registry.matchServiceByClass("DVPMPowerSource"));
  EXPECT_FALSE(registry.matchServiceByProperties(matching));
  std::unique_ptr<Registration> none;
  EXPECT_EQ(registry.addInterestNotification(*port, nullptr, kGeneralInterest, {}, &none).code(),
            kReturnBadArgument);
}

TEST(SimDevice, SystemPowerMessagesAndAcknowledgements) {
  TestDevice device;
  auto queue = device.dispatch().createSerialQueue("host", QualityOfService::kDefault);
  std::vector<std::pair<uint32_t, intptr_t>> seen;
  auto registration = device.systemPower().registerForSystemPower(
      [&](uint32_t type, intptr_t id) { seen.emplace_back(type, id); });
  ASSERT_NE(registration.rootDomainConnect, 0u);
  registration.port->setDispatchQueue(*queue);
  device.simRegistry().systemPowerMessage(kMessageCanSystemSleep, 41);
  device.runUntilIdle();
  EXPECT_THAT(seen, ElementsAre(std::make_pair(kMessageCanSystemSleep, intptr_t{41})));
  EXPECT_TRUE(device.systemPower().allowPowerChange(registration.rootDomainConnect, 41).ok());
  EXPECT_EQ(device.systemPower().allowPowerChange(registration.rootDomainConnect + 1, 42).code(),
            kReturnBadArgument);
  EXPECT_THAT(device.recorded().powerAcks(), ElementsAre(41));
}

TEST(SimDevice, KernelAnswersFromProcessesInterfacesAndWakeReason) {
  TestDevice device(Json::parse(R"({
    "processes": {"101": {"uuid": "00112233-4455-6677-8899-AABBCCDDEEFF", "lp64": false},
                  "102": null},
    "interfaces": [{"name": "lo0", "loopback": true, "family": 18},
                   {"name": "en0", "loopback": false, "family": 18,
                    "counters": {"tcpOOOPkt": 7, "14": 3}}],
    "wake_reason": " spu_ferrite dock\n", "machine": "Sim9,9"})"));
  Kernel& kernel = device.kernel();

  ResourceUsageV0 usage;
  ASSERT_EQ(kernel.processResourceUsage(101, kResourceUsageVersion0, &usage), 0);
  EXPECT_EQ(usage.uuid[0], 0x00);
  EXPECT_EQ(usage.uuid[15], 0xFF);
  EXPECT_NE(kernel.processResourceUsage(102, kResourceUsageVersion0, &usage), 0);
  EXPECT_NE(kernel.processResourceUsage(103, kResourceUsageVersion0, &usage), 0);

  int name[] = {kCtlKern, kKernProc, kKernProcPid, 101};
  size_t size = 0;
  ASSERT_EQ(kernel.sysctl(name, nullptr, &size), 0);
  ASSERT_EQ(size, sizeof(KernelProcessRecord));
  KernelProcessRecord record;
  ASSERT_EQ(kernel.sysctl(name, &record, &size), 0);
  EXPECT_EQ(record.flags & kProcessFlag64BitAddressSpace, 0u);
  name[3] = 102;
  EXPECT_EQ(kernel.sysctl(name, nullptr, &size), -1);

  std::vector<InterfaceAddress> interfaces;
  ASSERT_TRUE(kernel.interfaceAddresses(&interfaces).ok());
  ASSERT_EQ(interfaces.size(), 2u);
  EXPECT_EQ(interfaces[0].flags & kInterfaceFlagLoopback, kInterfaceFlagLoopback);
  unsigned en0 = kernel.interfaceIndex("en0");
  EXPECT_EQ(kernel.interfaceIndex("pdp_ip9"), 0u);
  int supplemental[] = {kCtlNet,      kAddressFamilyLink,    kNetLinkGeneric,
                        kIfmibIfData, static_cast<int>(en0), kIfdataSupplemental};
  uint8_t buffer[kInterfaceSupplementalSize];
  size = sizeof buffer;
  ASSERT_EQ(kernel.sysctl(supplemental, buffer, &size), 0);
  uint64_t counter;
  std::memcpy(&counter, buffer + kPacketStatisticsOffset + 10 * 8, 8);
  EXPECT_EQ(counter, 7u);
  std::memcpy(&counter, buffer + kPacketStatisticsOffset + 14 * 8, 8);
  EXPECT_EQ(counter, 3u);
  device.simKernel().changeCounters("en0", Counters({{"fail", true}}));
  EXPECT_EQ(kernel.sysctl(supplemental, buffer, &size), -1);

  char reason[256] = {};
  size = sizeof reason;
  ASSERT_EQ(kernel.sysctlByName("kern.wakereason", reason, &size), 0);
  EXPECT_STREQ(reason, " spu_ferrite dock\n");
  device.set({{"wake_reason", nullptr}});
  EXPECT_EQ(kernel.sysctlByName("kern.wakereason", reason, &size), -1);
  char machine[64] = {};
  size = sizeof machine;
  ASSERT_EQ(kernel.sysctlByName("hw.machine", machine, &size), 0);
  EXPECT_STREQ(machine, "Sim9,9");
}

TEST(SimDevice, ApplicationsNotificationsAndIpcFollowTheDeviceData) {
  TestDevice device(Json::parse(R"({
    "apps": [{"bundle": "com.example.a", "short_version": "1.0", "item_id": 42,
              "type": "System", "entitlements": {"beta-reports-active": false}}],
    "lpm": 1, "time_zone": "Europe/Paris"})"));
  auto proxy = device.applications().proxyForIdentifier("com.example.a");
  EXPECT_EQ(proxy->shortVersionString, "1.0");
  EXPECT_EQ(proxy->itemID, 42);
  EXPECT_EQ(proxy->applicationType, RSApplicationProxy::kSystemApplicationType);
  EXPECT_TRUE(Find(proxy->entitlements, "beta-reports-active"));
  auto unknown = device.applications().proxyForIdentifier("com.example.none");
  EXPECT_EQ(unknown->bundleIdentifier, "com.example.none");
  EXPECT_FALSE(unknown->bundleVersion);

  // The battery-saver state starts from the device's lpm and follows posts.
  std::unique_ptr<NotifyRegistration> check;
  uint64_t state = 0;
  ASSERT_TRUE(
      device.namedNotifications().registerCheck("com.veltro.system.batterysavermode", &check).ok());
  ASSERT_TRUE(device.namedNotifications().getState(check->token(), &state).ok());
  EXPECT_EQ(state, 1u);
  device.postNamedNotification("com.veltro.system.batterysavermode", 0);
  ASSERT_TRUE(device.namedNotifications().getState(check->token(), &state).ok());
  EXPECT_EQ(state, 0u);
  EXPECT_EQ(device.state().lpm, 0u);

  // 2026-07-01 12:00:00 UTC is 14:00 in Paris, two hours ahead.
  LocalTime t = device.environment().localTime(1782907200);
  EXPECT_EQ(std::make_tuple(t.year, t.month, t.day, t.hour, t.minute, t.utcOffsetSeconds),
            std::make_tuple(2026, 7, 1, 14, 0, 7200));

  auto message = device.ipc().createDictionary();
  message->setInt64("operation", 2);
  auto connection = device.ipc().createConnection("com.veltro.tallyd.tldaily", 0);
  std::vector<std::string> events;
  connection->setEventHandler([&](const WispObject& e) { events.push_back(e.stringValue()); });
  connection->resume();
  connection->sendMessage(*message);
  device.simIpc().setServiceReachable("com.veltro.tallyd.tldaily", false);
  connection->sendMessage(*message);
  device.runUntilIdle();
  ASSERT_EQ(device.recorded().messages().size(), 1u);
  EXPECT_EQ(device.recorded().messages()[0].message->get("operation")->int64Value(), 2);
  EXPECT_THAT(events, ElementsAre(kWispErrorConnectionInvalid));
}

// The zone database asked afresh for every instant.
LocalTime FromDatabase(const char* zone, int64_t at) {
  const date::zoned_seconds local(zone, date::sys_seconds(std::chrono::seconds(at)));
  const auto day = date::floor<date::days>(local.get_local_time());
  const date::year_month_day ymd(day);
  const date::hh_mm_ss<std::chrono::seconds> time(local.get_local_time() - day);
  return {static_cast<int>(ymd.year()),
          static_cast<int>(static_cast<unsigned>(ymd.month())),
          static_cast<int>(static_cast<unsigned>(ymd.day())),
          static_cast<int>(time.hours().count()),
          static_cast<int>(time.minutes().count()),
          static_cast<int>(time.seconds().count()),
          static_cast<int32_t>(local.get_info().offset.count())};
}

TEST(SimDevice, LocalTimeAgreesWithTheZoneDatabaseInAnyOrderAcrossZones) {
  // The offset is remembered for the period it holds: instants around every 2026 change of
  // offset (Lord Howe's is half an hour), far from them, in random order, with the zone changed
  // in between, must all read as the database reads them.
  const char* zones[] = {"Australia/Lord_Howe", "America/New_York", "UTC", "Asia/Kathmandu"};
  std::vector<std::pair<const char*, int64_t>> asks;
  std::mt19937_64 random(11);
  for (const char* zone : zones) {
    for (int64_t at = 1767225600; at < 1798761600; at += 1800) {
      if (FromDatabase(zone, at).utcOffsetSeconds !=
          FromDatabase(zone, at + 1800).utcOffsetSeconds) {
        for (int64_t d = -2000; d <= 2000; d += 7) asks.emplace_back(zone, at + d);
      }
    }
    for (int i = 0; i < 3000; ++i) {
      asks.emplace_back(zone, static_cast<int64_t>(random() % 9'500'000'000) - 2'200'000'000);
    }
  }
  std::shuffle(asks.begin(), asks.end(), random);
  // Runs of one zone, as a device keeps its zone for a while, and single asks in between.
  std::stable_sort(asks.begin(), asks.begin() + asks.size() / 2,
                   [](const auto& a, const auto& b) { return std::strcmp(a.first, b.first) < 0; });
  auto key = [](const LocalTime& t) {
    return std::make_tuple(t.year, t.month, t.day, t.hour, t.minute, t.second, t.utcOffsetSeconds);
  };
  for (const auto& [zone, at] : asks) {
    ASSERT_EQ(key(tl::sim::LocalTimeIn(zone, at)), key(FromDatabase(zone, at)))
        << zone << " at " << at;
  }
}

TEST(SimDevice, StateCarriesOverARestartButRegistrationsDoNot) {
  std::string sandbox;
  SimDevice::Snapshot saved;
  {
    TestDevice device(Json{{"files", {{"/var/mobile/kept.txt", "hello"}}}, {"thermal_level", 2}});
    sandbox = device.sandbox();
    device.advanceBy(90.5);
    device.set({{"thermal_level", 3}});
    device.postNamedNotification("com.example.state", 9);
    std::unique_ptr<NotifyRegistration> check;
    ASSERT_TRUE(device.namedNotifications().registerCheck("com.example.state", &check).ok());
    saved = device.snapshot();
    // Keep the sandbox for the restored device.
    std::filesystem::copy(sandbox, sandbox + "-kept", std::filesystem::copy_options::recursive);
  }
  auto restored = SimDevice::restore(saved, sandbox + "-kept");
  EXPECT_EQ(restored->elapsedSeconds(), 90.5);
  EXPECT_EQ(restored->clock().now(), 1767225600 + 90.5);
  EXPECT_EQ(restored->namedNotifications().thermalLevel(), 3);
  EXPECT_EQ(restored->notifications().state("com.example.state"), 9u);
  EXPECT_EQ(restored->notifications().activeRegistrations("com.example.state"), 0u);
  EXPECT_TRUE(restored->files().stat("/var/mobile/kept.txt", nullptr).ok());
  std::filesystem::remove_all(sandbox + "-kept");
}

}  // namespace
