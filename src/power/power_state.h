// The power side's process-wide state.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

#include "base/export.h"
#include "base/immortal.h"
#include "platform/dispatch.h"

namespace tl::power {

// Brightness buckets: 0 is off, 1 to 10 the tenths of the range, 11 the top, which folds into 10.
inline constexpr uint32_t kBrightnessBuckets = 12;

// One per process, never torn down. The exported brightness globals (maxBright, minBright,
// bucketSeconds) are process-wide too; they keep their own names as part of the module's C
// interface.
struct PowerState {
  // The low-power-mode queue, made once per process whatever the number of listeners, and kept.
  std::once_flag lpmQueueOnce;
  std::unique_ptr<platform::SerialQueue> lpmQueue;
  // nonUIBuild's answer, computed once.
  std::once_flag nonUIOnce;
  bool nonUIBuild = false;
  // gasGaugeEnabled's answer: -1 until asked, then 0 or 1; a race asks twice, harmlessly.
  std::atomic<int> gasGauge{-1};

  // The rest is touched only on the power listener's logging queue.
  // The backlight's on/off state: -1 unknown, then 0 or 1.
  int32_t backlightOn = -1;
  // The bucket whose interval is running, -1 before the first reading.
  int32_t currentBucket = -1;
  // When each bucket's running interval started.
  std::optional<double> intervalStart[kBrightnessBuckets];
  // How many bad-bucket messages were written; they stop at a hundred.
  int badBucketMessages = 0;
  // The unknown-range message is written once per process.
  bool rangeErrorLogged = false;
};

extern TL_HIDDEN constinit Immortal<PowerState> g_power;
inline PowerState& Power() { return g_power.value; }

}  // namespace tl::power
