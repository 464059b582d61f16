// Tick conversion and block timing.
#include <gtest/gtest.h>

#include "core/tallyline_module.h"
#include "test_support.h"

namespace {

using tl::testing::CurrentDevice;

TEST(TickConversion, UnitTimebaseCountsNanoseconds) {
  CurrentDevice device(tl::testing::Json{{"timebase", {1, 1}}});
  EXPECT_EQ(TLMachAbsoluteTimeIntervalToCBTimeInterval(1'000'000'000), 1.0);
  EXPECT_EQ(TLMachAbsoluteTimeIntervalToCBTimeInterval(0), 0.0);
  EXPECT_EQ(TLMachAbsoluteTimeIntervalToCBTimeInterval(1'500), 1.5e-6);
}

TEST(TickConversion, FactorIsComputedOnceFromTheTimebase) {
  // A 24 MHz tick: 125/3 nanoseconds a tick.
  CurrentDevice device(tl::testing::Json{{"timebase", {125, 3}}});
  const double factor = 125.0 / 3.0 * 1e-9;
  EXPECT_EQ(TLMachAbsoluteTimeIntervalToCBTimeInterval(24'000'000), 24'000'000.0 * factor);
  EXPECT_NEAR(TLMachAbsoluteTimeIntervalToCBTimeInterval(24'000'000), 1.0, 1e-12);
  // The largest tick count converts without wrapping.
  EXPECT_NEAR(TLMachAbsoluteTimeIntervalToCBTimeInterval(UINT64_MAX) / 7.686e11, 1.0, 1e-3);

  // A timebase read later is not consulted again.
  device->set({{"timebase", {1, 1}}});
  EXPECT_EQ(TLMachAbsoluteTimeIntervalToCBTimeInterval(24'000'000), 24'000'000.0 * factor);
}

TEST(TimeBlock, MeasuresTheTicksTheBlockTook) {
  CurrentDevice device(tl::testing::Json{{"timebase", {125, 3}}});
  tl::BlockOf instant([] {});
  EXPECT_EQ(TLTimeBlock(&instant), 0.0);

  int runs = 0;
  tl::BlockOf slow([&] {
    ++runs;
    device->advanceBy(2.5);
  });
  EXPECT_NEAR(TLTimeBlock(&slow), 2.5, 1e-9);
  EXPECT_EQ(runs, 1);
}

}  // namespace
