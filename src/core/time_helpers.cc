// TLMachAbsoluteTimeIntervalToCBTimeInterval and TLTimeBlock: monotonic time in seconds.
#include "core/core_state.h"
#include "core/tallyline_module.h"
#include "platform/platform.h"

namespace {

// Kept out of line, so that the conversion itself stays a handful of instructions.
[[gnu::noinline]] double SecondsPerTick() {
  tl::platform::Timebase timebase = tl::platform::Current().clock().timebase();
  // Division first, then the scaling, so that the factor rounds the same on every device.
  const double factor =
      static_cast<double>(timebase.numer) / static_cast<double>(timebase.denom) * 1e-9;
  tl::core::Core().secondsPerTick.store(factor, std::memory_order_relaxed);
  return factor;
}

}  // namespace

extern "C" double TLMachAbsoluteTimeIntervalToCBTimeInterval(uint64_t interval) {
  double factor = tl::core::Core().secondsPerTick.load(std::memory_order_relaxed);
  if (factor == 0.0) factor = SecondsPerTick();
  return static_cast<double>(interval) * factor;
}

extern "C" double TLTimeBlock(TLBlock* block) {
  auto& clock = tl::platform::Current().clock();
  uint64_t start = clock.absoluteTicks();
  block->invoke(block);
  uint64_t end = clock.absoluteTicks();
  return TLMachAbsoluteTimeIntervalToCBTimeInterval(end - start);
}
