// TLMachAbsoluteTimeIntervalToCBTimeInterval and TLTimeBlock: monotonic time in seconds.
#include <atomic>

#include "core/tallyline_module.h"
#include "platform/platform.h"

namespace {
// Seconds per tick; 0 until first computed. A race computes the same value twice.
std::atomic<double> g_secondsPerTick{0.0};
}  // namespace

extern "C" double TLMachAbsoluteTimeIntervalToCBTimeInterval(uint64_t interval) {
  double factor = g_secondsPerTick.load(std::memory_order_relaxed);
  if (factor == 0.0) {
    tl::platform::Timebase timebase = tl::platform::Current().clock().timebase();
    // Division first, then the scaling, so that the factor rounds the same on every device.
    factor = static_cast<double>(timebase.numer) / static_cast<double>(timebase.denom) * 1e-9;
    g_secondsPerTick.store(factor, std::memory_order_relaxed);
  }
  return static_cast<double>(interval) * factor;
}

extern "C" double TLTimeBlock(TLBlock* block) {
  auto& clock = tl::platform::Current().clock();
  uint64_t start = clock.absoluteTicks();
  block->invoke(block);
  uint64_t end = clock.absoluteTicks();
  return TLMachAbsoluteTimeIntervalToCBTimeInterval(end - start);
}
