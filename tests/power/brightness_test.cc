// Brightness buckets: the bucket of each reading, and a day of readings credited and reported.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "power/brightness_buckets.h"
#include "power/power_test_support.h"

namespace {

using ::testing::ElementsAre;
using namespace tl::testing;
using tl::testing::Json;

TEST(BrightnessBuckets, EveryReadingOfARangeStartingAtZero) {
  CurrentDevice device;
  minBright = 0;
  maxBright = 100;
  for (int value = 1; value <= 99; ++value) {
    EXPECT_EQ(makeBucket(value, 4), value / 10 + 1) << value;
  }
  EXPECT_EQ(makeBucket(100, 4), 10);  // the top bucket folds into the last tenth
  EXPECT_EQ(makeBucket(0, 4), 0);
  EXPECT_EQ(makeBucket(-7, 4), 0);
  EXPECT_EQ(makeBucket(-1, 4), 4);  // -1 keeps the current bucket
  EXPECT_EQ(makeBucket(-1, 11), 10);
  EXPECT_EQ(makeBucket(110, 4), 0);  // bucket 12: bad, with a message
  EXPECT_THAT(LogTexts(*device), ElementsAre("bucketize: bad bucket size: 12"));
}

TEST(BrightnessBuckets, TheDivisorIsTheMaximumNotTheWidth) {
  CurrentDevice device;
  minBright = 20;
  maxBright = 100;
  // (reading - 20) * 100 / 100: the last tenth of the range is never reached from below.
  EXPECT_EQ(makeBucket(20, 0), 1);
  EXPECT_EQ(makeBucket(29, 0), 1);
  EXPECT_EQ(makeBucket(30, 0), 2);
  EXPECT_EQ(makeBucket(100, 0), 9);
  EXPECT_EQ(makeBucket(120, 0), 10);
  EXPECT_EQ(makeBucket(19, 0), 1);  // -1 % divides by ten to 0, plus one
  EXPECT_EQ(makeBucket(10, 0), 0);  // -10 % divides by ten to -1, plus one
  minBright = 50;
  EXPECT_EQ(makeBucket(1, 0), 0);  // -49 %: bucket -3 is bad
  EXPECT_THAT(LogTexts(*device), ElementsAre("bucketize: bad bucket size: -3"));
  minBright = 0;
  maxBright = 50;
  EXPECT_EQ(makeBucket(25, 0), 6);  // 50 %
  EXPECT_EQ(makeBucket(50, 0), 10);
}

TEST(BrightnessBuckets, BadBucketMessagesStopAfterAHundred) {
  CurrentDevice device;
  for (uint32_t i = 0; i < 101; ++i) EXPECT_EQ(checkBucket(12 + i), 0);
  EXPECT_EQ(checkBucket(0xFFFFFFFF), 0);
  EXPECT_EQ(checkBucket(11), 11);
  auto logs = LogTexts(*device);
  ASSERT_EQ(logs.size(), 100u);
  EXPECT_EQ(logs.front(), "bucketize: bad bucket size: 12");
  EXPECT_EQ(logs.back(), "bucketize: bad bucket size: 111");
}

// The ten reported values of the brightness batch at index in the device's batches.
std::vector<double> Reported(tl::testing::TestDevice& device, size_t index) {
  const auto& batch = device.recorded().batches().at(index);
  EXPECT_FALSE(batch.first);
  std::vector<double> values;
  for (int i = 10; i <= 100; i += 10) {
    char key[64];
    std::snprintf(key, sizeof key, "com.veltro.power.backlight.values.%03d_%03d", i - 10, i);
    values.push_back(batch.second->at(key).doubleValue());
  }
  return values;
}

TEST(BrightnessBuckets, ADayOfReadingsIsCreditedToItsBuckets) {
  PowerTest t(Json{{"backlight", {{"min", 0}, {"max", 100}, {"value", 50}}},
                   {"interfaces", Json::array()}});
  // From 0: 50 (bucket 6) until 7200; off until 10800; 95 and 100 (bucket 10) until 18000; then
  // 5 (bucket 1) until the report at 86400.
  for (auto [at, value] : std::vector<std::pair<double, int>>{
           {3600, 50}, {7200, 0}, {10800, 95}, {14400, 100}, {18000, 5}}) {
    t.at(at);
    t.device().setBacklightValue(value);
    t.device().runUntilIdle();
  }
  t.at(86400);
  ASSERT_EQ(t.device().recorded().batches().size(), 1u);
  EXPECT_THAT(Reported(t.device(), 0), ElementsAre(68400, 0, 0, 0, 0, 7200, 0, 0, 0, 7200));
  // The totals start again; the running interval goes on from the report.
  t.at(2 * 86400);
  EXPECT_THAT(Reported(t.device(), 1), ElementsAre(86400, 0, 0, 0, 0, 0, 0, 0, 0, 0));
  EXPECT_EQ(bucketSeconds[12], 0.0);
}

TEST(BrightnessBuckets, NoReadingReportsTenZeros) {
  // The brightness has a range but no value: no interval ever starts.
  PowerTest t(Json{{"backlight", {{"min", 0}, {"max", 100}}}, {"interfaces", Json::array()}});
  t.at(86400);
  EXPECT_THAT(Reported(t.device(), 0), ElementsAre(0, 0, 0, 0, 0, 0, 0, 0, 0, 0));
}

TEST(BrightnessBuckets, AnUnknownRangeIgnoresReadingsWithOneMessage) {
  // Without a "min" the range stays unknown: one message for the process, readings ignored.
  PowerTest u(Json{{"backlight", {{"max", 100}, {"value", 30}}}, {"interfaces", Json::array()}});
  EXPECT_EQ(minBright, -1);
  EXPECT_EQ(maxBright, -1);
  u.device().setBacklightValue(60);
  u.device().setBacklightValue(70);
  u.device().runUntilIdle();
  auto logs = LogTexts(u.device());
  EXPECT_EQ(
      std::count(logs.begin(), logs.end(), "bucketize: ERROR: minBright = -1, maxBright = -1"), 1);
}

}  // namespace
