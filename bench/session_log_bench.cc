// Benchmarks of the session log side: writing a large log, rebuilding the previous period at
// start, and one run-state report from the monitor to the recorded event.
#include <benchmark/benchmark.h>

#include <chrono>
#include <filesystem>
#include <fstream>

#include "bench/allocation_counter.h"
#include "bench/bench_device.h"
#include "sessions/tl_application_state_change_event_listener.h"
#include "sessions/tl_session_persistence_manager.h"

namespace {

using Listener = TLApplicationStateChangeEventListener;
using Clock = std::chrono::steady_clock;

constexpr int kBundles = 1000;
constexpr int kEventsPerBundle = 50;

std::unique_ptr<Listener> StartedListener(tl::bench::BenchDevice& device) {
  tl::platform::MakeCurrent(&device);
  auto listener = std::make_unique<Listener>();
  device.runUntilIdle();
  return listener;
}

// Before each write: a second later, so that the log gets a name of its own (a log whose name
// is taken fails to move into place, which is not what is measured), and the earlier logs gone.
void NextLogSlot(tl::bench::BenchDevice& device) {
  device.advanceBy(1);
  std::error_code ignored;
  std::filesystem::remove_all(device.hostPath("/var/mobile/Library/Logs/Faultkeeper"), ignored);
  std::filesystem::create_directories(device.hostPath("/var/mobile/Library/Logs/Faultkeeper"));
}

// How many session logs are in place: one per iteration when every write moved its log.
size_t LogsWritten(tl::bench::BenchDevice& device) {
  const auto dir = device.hostPath("/var/mobile/Library/Logs/Faultkeeper");
  return std::distance(std::filesystem::directory_iterator(dir), {});
}

std::string BundleRecord(int i) {
  return "[\"com.example.bundle" + std::to_string(i) +
         "\",2,\"00112233-4455-6677-8899-AABBCCDDEEFF\",\"" + std::to_string(100 + i) + "\",\"1." +
         std::to_string(i) + "\",\"A1B2C3D4-0000-1111-2222-333344445555\"," +
         std::to_string(500000 + i) + ",\"cohort\",143441,false," + std::to_string(i + 1) + "]";
}

// 1,000 sessions of 50 foreground intervals each, written as the previous period's log. Time per
// log; the counter is the peak of heap bytes above what the sessions themselves hold.
void BM_WriteSessionLog(benchmark::State& state) {
  tl::bench::BenchDevice device;
  auto listener = StartedListener(device);
  std::vector<Listener::SessionList> bundles(1);
  for (int i = 0; i < kBundles; ++i) {
    bundles[0].push_back(
        TLBundleSession::initWithRecordArray(nlohmann::json::parse(BundleRecord(i))));
  }
#ifdef TL_HEAP_COUNTING
  int64_t peakAbove = 0;
#endif
  for (auto _ : state) {
    state.PauseTiming();
    for (auto& session : bundles[0]) {
      for (uint32_t e = 0; e < kEventsPerBundle; ++e) {
        session->appendEvent(TLSessionEvent(8, 30 + e, 1767225600 + 60 * e));
      }
    }
    NextLogSlot(device);
#ifdef TL_HEAP_COUNTING
    tl::bench::ResetHeapPeak();
    const int64_t before = tl::bench::Heap().bytesInUse;
#endif
    state.ResumeTiming();
    listener->sessionQueue().async([&] { listener->writeSessionLogUsingBundles(&bundles); });
    device.runUntilIdle();
    state.PauseTiming();
    if (LogsWritten(device) != 1) state.SkipWithError("the session log was not moved into place");
    state.ResumeTiming();
#ifdef TL_HEAP_COUNTING
    state.PauseTiming();
    peakAbove = std::max(peakAbove, tl::bench::Heap().peakBytes - before);
    state.ResumeTiming();
#endif
  }
#ifdef TL_HEAP_COUNTING
  state.counters["peak_heap_above_sessions_KiB"] = static_cast<double>(peakAbove) / 1024.0;
#endif
  listener.reset();
  tl::platform::MakeCurrent(nullptr);
}
BENCHMARK(BM_WriteSessionLog)->Unit(benchmark::kMillisecond);

// The previous period's 1,000 bundle lines and 100,000 event lines read back, rebuilt and
// written as one log at start.
void BM_RebuildPreviousPeriod(benchmark::State& state) {
  tl::bench::BenchDevice device;
  auto listener = StartedListener(device);
  std::filesystem::create_directories(device.hostPath("/var/mobile/Library/Tallyline"));
  std::string bundleLines;
  std::string eventLines;
  for (int i = 0; i < kBundles; ++i) {
    bundleLines += BundleRecord(i) + "\n";
    for (int e = 0; e < 100; ++e) {
      eventLines += std::to_string(i + 1) + " 8 " + std::to_string(30 + e) + " " +
                    std::to_string(1767225600 + 60 * e) + "\n";
    }
  }
  for (auto _ : state) {
    state.PauseTiming();
    std::ofstream(device.hostPath(TLSessionPersistenceManager::kBundleLogPath)) << bundleLines;
    std::ofstream(device.hostPath(TLSessionPersistenceManager::kEventLogPath)) << eventLines;
    NextLogSlot(device);
    state.ResumeTiming();
    listener->sessionQueue().async([&] { listener->writePreviousSessionLog(); });
    device.runUntilIdle();
    state.PauseTiming();
    if (LogsWritten(device) != 1) state.SkipWithError("the previous period's log is missing");
    state.ResumeTiming();
  }
  listener.reset();
  tl::platform::MakeCurrent(nullptr);
}
BENCHMARK(BM_RebuildPreviousPeriod)->Unit(benchmark::kMillisecond);

// One run-state report that leaves the foreground, from the monitor's callback through the
// session queue to the event kept and its record appended.
void BM_AppStateChange(benchmark::State& state) {
  tl::platform::RSApplicationProxy app;
  app.bundleIdentifier = "com.example.bench";
  app.bundleVersion = "1";
  app.applicationType = "User";
  tl::sim::DeviceState described;
  described.apps = {app};
  tl::bench::BenchDevice device(described);
  auto listener = StartedListener(device);
  auto& apps = device.simApplications();
  const tl::platform::Dictionary foreground = {
      {"bundle", "com.example.bench"}, {"pid", 0}, {"state", 8}};
  const tl::platform::Dictionary background = {
      {"bundle", "com.example.bench"}, {"pid", 0}, {"state", 2}};
  int64_t events = 0;
  for (auto _ : state) {
    apps.reportState(foreground);
    device.runUntilIdle();
    device.advanceBy(1);
    auto start = Clock::now();
    apps.reportState(background);
    device.runUntilIdle();
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    if (++events % 50'000 == 0) {
      listener->sessionQueue().async([&] {
        listener->writeSessionLog();  // keeps the event list and the record file small
      });
      device.runUntilIdle();
    }
  }
  listener.reset();
  tl::platform::MakeCurrent(nullptr);
}
BENCHMARK(BM_AppStateChange)->UseManualTime();

}  // namespace
