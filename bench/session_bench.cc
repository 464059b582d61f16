// Benchmarks of bundle sessions: leaving the foreground (keys and one event record) against a
// plain write of the same bytes.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>

#include "bench/bench_device.h"
#include "sessions/tl_bundle_session.h"
#include "sessions/tl_session_persistence_manager.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kTruncateEvery = 50'000;  // keeps the record file and the event list small

tl::sim::DeviceState ThirdPartyDevice() {
  tl::platform::RSApplicationProxy app;
  app.bundleIdentifier = "com.example.bench";
  app.bundleVersion = "100";
  app.shortVersionString = "1.0";
  app.itemID = 123456789;
  app.applicationType = "User";
  tl::sim::DeviceState state;
  state.apps = {app};
  return state;
}

// One updateState that leaves the foreground of a third-party bundle: the active-time key, the
// event kept in memory and its record appended to the event record file. Only that call is
// timed; entering the foreground before it is not.
void BM_LeaveForeground(benchmark::State& state) {
  tl::bench::BenchDevice device(ThirdPartyDevice());
  tl::platform::MakeCurrent(&device);
  auto session = TLBundleSession::initBundle("com.example.bench", false);
  double t = 0;
  session->updateState(8, t, 0);
  session->updateState(2, t += 1, 0);  // opens the record file once
  uint64_t writesBefore = tl::bench::WriteSyscalls();
  int64_t events = 0;
  for (auto _ : state) {
    session->updateState(8, t += 1, 0);
    auto start = Clock::now();
    session->updateState(2, t += 10, 0);
    auto end = Clock::now();
    state.SetIterationTime(std::chrono::duration<double>(end - start).count());
    if (++events % kTruncateEvery == 0) {
      session->events.clear();
      TLSessionPersistenceManager::truncateEventLogWithBundleLog(false);
    }
  }
  state.counters["write_syscalls_per_event"] =
      static_cast<double>(tl::bench::WriteSyscalls() - writesBefore) / static_cast<double>(events);
  tl::platform::MakeCurrent(nullptr);
}
BENCHMARK(BM_LeaveForeground)->UseManualTime();

// The same bytes written with one plain write call to a file of the same kind, for comparison.
void BM_PlainWrite(benchmark::State& state) {
  tl::bench::BenchDevice device;
  std::string path = device.hostPath("/var/tmp/plain.log");
  int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  char record[64];
  int length = std::snprintf(record, sizeof record, "%u %u %u %u\n", 1u, 8u, 10u, 1767225610u);
  int64_t writes = 0;
  for (auto _ : state) {
    auto start = Clock::now();
    benchmark::DoNotOptimize(::write(fd, record, length));
    auto end = Clock::now();
    state.SetIterationTime(std::chrono::duration<double>(end - start).count());
    if (++writes % kTruncateEvery == 0) ::ftruncate(fd, 0);
  }
  ::close(fd);
}
BENCHMARK(BM_PlainWrite)->UseManualTime();

}  // namespace
