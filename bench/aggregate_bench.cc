// Benchmarks of the aggregate logger: one power event from its notification to the committed
// batch, and the logger's start-up.
#include <benchmark/benchmark.h>

#include <chrono>

#include "aggregate/eq_aggregate_logger.h"
#include "bench/bench_device.h"
#include "power/eq_notifications.h"
#ifdef TL_HEAP_COUNTING
#include "bench/allocation_counter.h"
#endif

namespace {

// The backlight going on and off in turn, a second apart: each notification measures the
// battery, books the interval, counts the exit and commits all 62 keys in one batch.
void BM_HandleEvent(benchmark::State& state) {
  tl::bench::BenchDevice device;
  tl::platform::MakeCurrent(&device);
  auto logger = std::make_unique<EQAggregateLogger>();
  auto& center = device.notificationCenter();
  bool on = false;
#ifdef TL_HEAP_COUNTING
  const int64_t allocationsBefore = tl::bench::Heap().allocations;
#endif
  for (auto _ : state) {
    device.advanceBy(1);
    auto start = std::chrono::steady_clock::now();
    center.post(on ? EQDeviceBacklightOffNotification : EQDeviceBacklightOnNotification, nullptr);
    state.SetIterationTime(
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    on = !on;
  }
#ifdef TL_HEAP_COUNTING
  state.counters["heap_allocations_per_event"] =
      static_cast<double>(tl::bench::Heap().allocations - allocationsBefore) /
      static_cast<double>(state.iterations());
#endif
  logger.reset();
  tl::platform::MakeCurrent(nullptr);
}
BENCHMARK(BM_HandleEvent)->UseManualTime();

// The logger's start-up: readings, the low-power-mode query, five replayed events and commits,
// and its six registrations.
void BM_LoggerStartUp(benchmark::State& state) {
  tl::bench::BenchDevice device;
  tl::platform::MakeCurrent(&device);
  for (auto _ : state) {
    EQAggregateLogger logger;
    benchmark::DoNotOptimize(logger.currentState());
  }
  tl::platform::MakeCurrent(nullptr);
}
BENCHMARK(BM_LoggerStartUp);

}  // namespace
