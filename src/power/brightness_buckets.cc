// Brightness buckets: the bucket of a reading, the crediting of running intervals and the daily
// report of the ten tenths.
#include "power/brightness_buckets.h"

#include <cmath>
#include <cstdio>

#include "platform/platform.h"
#include "power/tl_power_event_listener.h"

extern "C" {
int32_t maxBright = 0;
int32_t minBright = 0;
double bucketSeconds[13] = {};
}

namespace {

// All of it is touched only on the logging queue.
constexpr uint32_t kBuckets = 12;
constexpr int kMessageCap = 100;
int32_t g_currentBucket = -1;
std::optional<double> g_intervalStart[kBuckets];
int g_badBucketMessages = 0;
bool g_rangeErrorLogged = false;

int32_t FoldTopBucket(int32_t bucket) { return bucket == 11 ? 10 : bucket; }

}  // namespace

extern "C" int32_t checkBucket(uint32_t bucket) {
  if (bucket < kBuckets) return static_cast<int32_t>(bucket);
  // Capped so that a broken backlight cannot flood the log.
  if (g_badBucketMessages < kMessageCap) {
    TLLog("bucketize: bad bucket size: %d", static_cast<int32_t>(bucket));
    ++g_badBucketMessages;
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
  if (minBright == -1 || maxBright == -1) {
    if (!g_rangeErrorLogged) {
      TLLog("bucketize: ERROR: minBright = %d, maxBright = %d", minBright, maxBright);
      g_rangeErrorLogged = true;
    }
    return;
  }
  if (value == -1 && g_currentBucket == -1) return;  // nothing is running
  const int32_t bucket = makeBucket(value, g_currentBucket);
  const double now = tl::platform::Current().clock().now();
  if (g_currentBucket == -1) {
    g_currentBucket = bucket;
    g_intervalStart[bucket] = now;
  }
  if (value != -1 && bucket == g_currentBucket) return;  // the interval keeps running
  const double elapsed = std::fabs(g_intervalStart[g_currentBucket].value_or(now) - now);
  bucketSeconds[g_currentBucket] += elapsed;
  bucketSeconds[12] += elapsed;
  g_intervalStart[g_currentBucket].reset();
  g_intervalStart[bucket] = now;
  g_currentBucket = bucket;
}

void TLPowerEventListener::logBrightnessBuckets() {
  _loggingQueue->async([this] {
    bucketize(-1);  // credits the running interval up to now
    tl::platform::KeyValues buckets;
    for (int i = 10; i <= 100; i += 10) {
      char key[64];
      std::snprintf(key, sizeof key, "com.veltro.power.backlight.values.%03d_%03d", i - 10, i);
      buckets.emplace(key, bucketSeconds[i / 10]);
    }
    TLClientBatchKeys(nullptr, &buckets);
    // The running interval and its start stay; only the totals start again.
    for (double& seconds : bucketSeconds) seconds = 0.0;
  });
}
