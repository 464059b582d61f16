// Brightness buckets: the bucket of a reading, the crediting of running intervals and the daily
// report of the ten tenths.
#include "power/brightness_buckets.h"

#include <cmath>
#include <cstdio>

#include "platform/platform.h"
#include "platform/statistics_keys.h"
#include "power/power_state.h"
#include "power/tl_power_event_listener.h"

extern "C" {
int32_t maxBright = 0;
int32_t minBright = 0;
double bucketSeconds[13] = {};
}

namespace {

using tl::power::kBrightnessBuckets;
constexpr int kMessageCap = 100;

int32_t FoldTopBucket(int32_t bucket) { return bucket == 11 ? 10 : bucket; }

}  // namespace

extern "C" int32_t checkBucket(uint32_t bucket) {
  if (bucket < kBrightnessBuckets) return static_cast<int32_t>(bucket);
  // Capped so that a broken backlight cannot flood the log.
  int& messages = tl::power::Power().badBucketMessages;
  if (messages < kMessageCap) {
    TLLog("bucketize: bad bucket size: %d", static_cast<int32_t>(bucket));
    ++messages;
  }
  return 0;
}

extern "C" int32_t makeBucket(int32_t value, int32_t current) {
  if (value < 1) return FoldTopBucket(value == -1 ? current : 0);
  // 32-bit arithmetic, wrapping as the processor does; the divisor is maxBright itself, not the
  // width of the range.
  const int32_t scaled = static_cast<int32_t>(
      static_cast<uint32_t>(static_cast<uint32_t>(value) - static_cast<uint32_t>(minBright)) *
      100u);
  if (maxBright == 0) return checkBucket(UINT32_MAX);  // no range: a bad bucket, not a crash
  const int32_t percent = static_cast<int32_t>(static_cast<int64_t>(scaled) / maxBright);
  return FoldTopBucket(checkBucket(static_cast<uint32_t>(percent / 10 + 1)));
}

void TLPowerEventListener::bucketize(int32_t value) {
  tl::power::PowerState& state = tl::power::Power();
  if (minBright == -1 || maxBright == -1) {
    if (!state.rangeErrorLogged) {
      TLLog("bucketize: ERROR: minBright = %d, maxBright = %d", minBright, maxBright);
      state.rangeErrorLogged = true;
    }
    return;
  }
  int32_t& current = state.currentBucket;
  if (value == -1 && current == -1) return;  // nothing is running
  const int32_t bucket = makeBucket(value, current);
  const double now = tl::platform::Current().clock().now();
  if (current == -1) {
    current = bucket;
    state.intervalStart[bucket] = now;
  }
  if (value != -1 && bucket == current) return;  // the interval keeps running
  const double elapsed = std::fabs(state.intervalStart[current].value_or(now) - now);
  bucketSeconds[current] += elapsed;
  bucketSeconds[12] += elapsed;
  state.intervalStart[current].reset();
  state.intervalStart[bucket] = now;
  current = bucket;
}

void TLPowerEventListener::logBrightnessBuckets() {
  _loggingQueue->async([this] {
    bucketize(-1);  // credits the running interval up to now
    tl::platform::KeyValues buckets;
    for (int i = 10; i <= 100; i += 10) {
      char key[64];
      std::snprintf(key, sizeof key, "%s%03d_%03d", tl::platform::kBrightnessHistogramKeyPrefix,
                    i - 10, i);
      buckets.emplace(key, bucketSeconds[i / 10]);
    }
    TLClientBatchKeys(nullptr, &buckets);
    // The running interval and its start stay; only the totals start again.
    for (double& seconds : bucketSeconds) seconds = 0.0;
  });
}
