// The module entry, the hub's start-up order and the thermal-level samples.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/tallyline_module.h"
#include "core/tl_event_listener.h"
#include "test_support.h"

namespace {

using ::testing::ElementsAre;
using tl::testing::CountingHandle;
using tl::testing::CurrentDevice;

constexpr char kThermalKey[] = "com.veltro.dovetop.thermalLevels";

std::vector<double> ThermalSamples(tl::testing::TestDevice& device) {
  std::vector<double> samples;
  for (const auto& d : device.recorded().distributions()) {
    EXPECT_EQ(d.key, kThermalKey);
    samples.push_back(d.value);
  }
  return samples;
}

TEST(ModuleEntry, RunsOnceAndStartsTheListenersInOrder) {
  CurrentDevice device;
  CountingHandle handle(*device);

  TLEventModuleInitializer(&handle);
  TLEventModuleInitializer(&handle);
  device->runUntilIdle();

  // The second call returns before asking the host for anything.
  EXPECT_EQ(handle.queueRequests, 1);
  // Application state listener (its session queue), then the power listener (its logging queue
  // on the background queue), each exactly once.
  EXPECT_THAT(device->scheduler().createdQueues(),
              ElementsAre("host.events (default)", "com.veltro.TLSessionSync (utility)",
                          "WattloggingBGQueue -> global.background", " (default)"));
  // The application side's notifications, the power listener's, the aggregate logger's look at
  // the low-power mode, then the thermal registration, once.
  EXPECT_THAT(
      device->notifications().registrations(),
      ElementsAre("com.veltro.tallyd.tldaily.logging", "com.veltro.session.dump",
                  "com.veltro.session.write", "com.veltro.system.batterysavermode",
                  "com.veltro.system.batterysavermode", tl::platform::kThermalLevelNotification));
}

TEST(ModuleEntry, EachThermalNotificationPushesTheLevelAsOneSample) {
  CurrentDevice device(tl::testing::Json{{"thermal_level", 0}});
  CountingHandle handle(*device);
  TLEventModuleInitializer(&handle);
  device->runUntilIdle();
  EXPECT_TRUE(device->recorded().distributions().empty());
  device->recorded().clear();  // start-up's own log lines

  device->setThermalLevel(0);
  device->runUntilIdle();
  device->setThermalLevel(3);
  device->runUntilIdle();
  // A repeated notification of an unchanged level is still a sample.
  device->notifications().post(tl::platform::kThermalLevelNotification);
  device->runUntilIdle();
  device->setThermalLevel(-2);
  device->runUntilIdle();

  EXPECT_THAT(ThermalSamples(*device), ElementsAre(0.0, 3.0, 3.0, -2.0));
  EXPECT_TRUE(device->recorded().logs().empty());
}

TEST(ModuleEntry, ThermalRegistrationIsMadeOncePerProcess) {
  CurrentDevice device(tl::testing::Json{{"thermal_level", 1}});
  CountingHandle handle(*device);
  auto first = TLEventListener::initWithQueue(handle.eventQueue());
  auto second = TLEventListener::initWithQueue(handle.eventQueue());
  second->registerForThermalNotification();
  ASSERT_NE(first->appStateChangeEventListener(), nullptr);
  ASSERT_NE(first->powerEventListener(), nullptr);
  ASSERT_NE(first->aggregateLogger(), nullptr);

  EXPECT_EQ(device->notifications().activeRegistrations(tl::platform::kThermalLevelNotification),
            1u);
  device->setThermalLevel(4);
  device->runUntilIdle();
  EXPECT_THAT(ThermalSamples(*device), ElementsAre(4.0));

  // Releasing a hub does not cancel the process-wide registration.
  second.reset();
  device->setThermalLevel(5);
  device->runUntilIdle();
  EXPECT_THAT(ThermalSamples(*device), ElementsAre(4.0, 5.0));
}

}  // namespace
