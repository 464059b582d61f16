// TLMachAbsoluteTimeIntervalToCBTimeInterval and TLTimeBlock: monotonic time in seconds.
#include "core/core_state.h"
#include "core/tallyline_module.h"
#include "platform/platform.h"

extern "C" double TLMachAbsoluteTimeIntervalToCBTimeInterval(uint64_t interval) {
  auto& cached = tl::core::Core().secondsPerTick;
  double factor = cached.load(std::memory_order_relaxed);
  if (factor == 0.0) {
    tl::platform::Timebase timebase = tl::platform::Current().clock().timebase();
    // Division first, then the scaling, so that the factor rounds the same on every device.
    factor = static_cast<double>(timebase.numer) / static_cast<double>(timebase.denom) * 1e-9;
    cached.store(factor, std::memory_order_relaxed);
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
