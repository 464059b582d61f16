// Aggregate states: the composite table against its rules, and the accumulators.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>

#include "aggregate/eq_aggregate_logger.h"
#include "power/eq_notifications.h"
#include "test_support.h"

namespace {

using ::testing::ElementsAre;
using tl::testing::CurrentDevice;

TEST(AggregateStates, CompositeIndexSetsFollowTheirRules) {
  // Bits: 1 plugged in, 2 awake, 4 display on, 8 charging, 16 low-power mode.
  const std::map<std::string, std::function<bool(uint32_t)>> rules = {
      {"unplugged", [](uint32_t i) { return !(i & 1); }},
      {"unplugged_asleep", [](uint32_t i) { return !(i & 1) && !(i & 2); }},
      {"unplugged_awake", [](uint32_t i) { return !(i & 1) && (i & 2); }},
      {"unplugged_screen_on", [](uint32_t i) { return !(i & 1) && (i & 2) && (i & 4); }},
      {"unplugged_screen_off", [](uint32_t i) { return !(i & 1) && (i & 2) && !(i & 4); }},
      {"unplugged_lpm_on", [](uint32_t i) { return !(i & 1) && (i & 16); }},
      {"unplugged_lpm_off", [](uint32_t i) { return !(i & 1) && !(i & 16); }},
      {"pluggedin", [](uint32_t i) { return (i & 1) != 0; }},
      {"pluggedin_charging", [](uint32_t i) { return (i & 1) && (i & 8); }},
      {"pluggedin_screen_on", [](uint32_t i) { return (i & 1) && (i & 2) && (i & 4); }},
      {"pluggedin_screen_off", [](uint32_t i) { return (i & 1) && (i & 2) && !(i & 4); }},
  };
  ASSERT_EQ(EQCompositeStates().size(), rules.size());
  for (const auto& composite : EQCompositeStates()) {
    const auto& rule = rules.at(composite.name);
    for (uint32_t i = 0; i < 32; ++i) {
      EXPECT_EQ(composite.indices.contains(i), rule(i)) << composite.name << " " << i;
    }
  }
}

TEST(AggregateStates, SummingNeverTouchesTheCountAndResetsAreExactZeros) {
  std::vector<EQAggregateState> base(32);
  base[6].setTime(10, 1.25, 2.5, -3);
  base[14].setTime(5, 0.25, 0.5, 1);
  base[7].setTime(100, 100, 100, 100);  // plugged in: not part of the composite below
  EQAggregateState screenOn =
      EQAggregateState::stateWithSubstateIndices(EQStateSet::of({6, 14, 22, 30}));
  screenOn.incrementCount();
  screenOn.incrementCount();
  screenOn.updateCompositeStateWithBaseStates(base);
  EXPECT_EQ(screenOn.time(), 15);
  EXPECT_EQ(screenOn.energy(), 1.5);
  EXPECT_EQ(screenOn.energyAbsolute(), 3);
  EXPECT_EQ(screenOn.energyRaw(), -2);
  EXPECT_EQ(screenOn.count(), 2);
  // Summed again over reset base states: zeros, and the count stays.
  for (auto& state : base) state.resetStats();
  screenOn.updateCompositeStateWithBaseStates(base);
  EXPECT_EQ(screenOn.time(), 0);
  EXPECT_EQ(screenOn.count(), 2);
  screenOn.resetStats();
  EXPECT_EQ(screenOn.count(), 0);
}

TEST(WakeReasons, TokensCountUnderTheirKeysOncePerWake) {
  CurrentDevice device;
  EQAggregateLogger logger;
  auto wake = [&](std::optional<std::string> reason) {
    tl::platform::Dictionary info;
    if (reason) info[EQDeviceDidWakeSystemReasonKey] = *reason;
    device->recorded().clear();
    device->notificationCenter().post(EQDeviceDidWakeNotification, nullptr, info);
    // The wake keys go in a batch of their own, before the awake event's commit.
    EXPECT_EQ(device->recorded().batches().size(), 2u);
    auto first = *device->recorded().batches().front().first;
    std::vector<std::string> keys;
    for (const auto& [key, value] : first) {
      EXPECT_EQ(value, tl::platform::Value(1));
      keys.push_back(key);
    }
    return keys;
  };
  EXPECT_THAT(wake("spu_ferrite dock"), ElementsAre("com.veltro.power.wake_reasons.dock",
                                                    "com.veltro.power.wake_reasons.spu_ferrite",
                                                    "com.veltro.power.wakecount"));
  EXPECT_THAT(wake("spuX spu_other2 tmr tmr"),
              ElementsAre("com.veltro.power.wake_reasons.spu_other",
                          "com.veltro.power.wake_reasons.tmr", "com.veltro.power.wakecount"));
  EXPECT_THAT(wake("magsense2 grip2 home"),
              ElementsAre("com.veltro.power.wake_reasons.other",
                          "com.veltro.power.wake_reasons.user", "com.veltro.power.wakecount"));
  // Two blanks make an empty token: three tokens, one key.
  EXPECT_THAT(wake("foo  bar"),
              ElementsAre("com.veltro.power.wake_reasons.other", "com.veltro.power.wakecount"));
  EXPECT_THAT(wake(std::nullopt), ElementsAre("com.veltro.power.wakecount"));
  EXPECT_THAT(wake("Dock SPU"),
              ElementsAre("com.veltro.power.wake_reasons.other", "com.veltro.power.wakecount"));
}

}  // namespace
