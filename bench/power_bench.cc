// Benchmarks of the power listener: one battery message to its notification, and one
// brightness reading.
#include <benchmark/benchmark.h>

#include "bench/bench_device.h"
#include "power/eq_battery_properties.h"
#include "power/tl_power_event_listener.h"

namespace {

// The battery entry's message, delivered on the host queue, through the properties snapshot to
// the posted notification and an observer that reads the capacity from it.
void BM_BatteryMessageToNotification(benchmark::State& state) {
  tl::bench::BenchDevice device;
  tl::platform::MakeCurrent(&device);
  auto host = device.dispatch().createSerialQueue("host", tl::platform::QualityOfService::kDefault);
  auto listener = TLPowerEventListener::initWithQueue(*host);
  device.runUntilIdle();
  double capacity = 0;
  int observed = 0;
  auto observer = device.notificationCenter().addObserver(
      "EQBatteryStatusDidChangeNotification", [&](const tl::platform::Notification& n) {
        auto* properties = static_cast<const EQBatteryProperties*>(
            tl::platform::Find(n.userInfo, "EQBatteryStatusPropertiesKey")->object());
        capacity = properties->currentCapacity();
        ++observed;
      });
  for (auto _ : state) {
    device.simRegistry().batteryMessage(tl::platform::kMessageBatteryStatusChanged);
    device.runUntilIdle();
  }
  benchmark::DoNotOptimize(capacity);
  if (observed != state.iterations()) state.SkipWithError("a message went unobserved");
  observer.reset();
  listener.reset();
  tl::platform::MakeCurrent(nullptr);
}
BENCHMARK(BM_BatteryMessageToNotification);

// One reading that changes bucket, so that the running interval is credited every time.
void BM_Bucketize(benchmark::State& state) {
  tl::bench::BenchDevice device;
  tl::platform::MakeCurrent(&device);
  auto host = device.dispatch().createSerialQueue("host", tl::platform::QualityOfService::kDefault);
  auto listener = TLPowerEventListener::initWithQueue(*host);
  device.runUntilIdle();  // the initial read learns the range
  int32_t value = 5;
  for (auto _ : state) {
    listener->bucketize(value);
    value = value == 5 ? 95 : 5;
  }
  listener.reset();
  tl::platform::MakeCurrent(nullptr);
}
BENCHMARK(BM_Bucketize);

}  // namespace
