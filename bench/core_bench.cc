// Benchmarks of the module core: tick conversion and one task through a serial queue.
#include <benchmark/benchmark.h>

#include "core/tallyline_module.h"
#include "platform/sim/sim_device.h"

namespace {

void BM_TickConversion(benchmark::State& state) {
  tl::sim::DeviceState described;
  described.timebase = {125, 3};  // a 24 MHz tick
  tl::sim::SimDevice device(described);
  tl::platform::MakeCurrent(&device);
  uint64_t ticks = 24'000'000;
  for (auto _ : state) {
    benchmark::DoNotOptimize(TLMachAbsoluteTimeIntervalToCBTimeInterval(ticks));
    ++ticks;
  }
  tl::platform::MakeCurrent(nullptr);
}
BENCHMARK(BM_TickConversion);

void BM_SerialQueueTask(benchmark::State& state) {
  tl::sim::SimDevice device;
  auto queue =
      device.dispatch().createSerialQueue("bench", tl::platform::QualityOfService::kUtility);
  int64_t runs = 0;
  for (auto _ : state) {
    queue->async([&runs] { ++runs; });
    device.runUntilIdle();
  }
  benchmark::DoNotOptimize(runs);
}
BENCHMARK(BM_SerialQueueTask);

}  // namespace
