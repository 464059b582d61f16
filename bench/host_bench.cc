// Benchmarks of the host's side of a replay: what one power commit costs the daemon (its output
// line and its fold into the store) and the check of one trace line.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>

#include "aggregate/eq_aggregate_logger.h"
#include "bench/bench_device.h"
#include "host/replay/output_printer.h"
#include "host/store/stats_daemon.h"
#include "host/trace/trace_reader.h"
#include "power/eq_notifications.h"

namespace {

// Keeps the first dictionary of the last batch the module committed.
class LastBatch : public tl::platform::StatisticsClient {
 public:
  void addValueForScalarKey(std::string_view, int64_t) override {}
  void pushValueForDistributionKey(std::string_view, double) override {}
  void batchKeys(const tl::platform::KeyValues* first, const tl::platform::KeyValues*) override {
    if (first) keys = *first;
  }
  tl::platform::KeyValues keys;
};

class CommitDevice : public tl::sim::SimDevice {
 public:
  using SimDevice::SimDevice;
  tl::platform::StatisticsClient& statistics() override { return last_; }
  const tl::platform::KeyValues& lastCommit() const { return last_.keys; }

 private:
  LastBatch last_;
};

// The 62 keys of a real power commit, from the module itself.
tl::platform::KeyValues PowerCommitKeys() {
  CommitDevice device;
  tl::platform::MakeCurrent(&device);
  {
    EQAggregateLogger logger;
    device.advanceBy(60);
    device.notificationCenter().post(EQDeviceBacklightOffNotification, nullptr);
  }
  tl::platform::MakeCurrent(nullptr);
  return device.lastCommit();
}

// One power commit as the replay's output line, written to /dev/null.
void BM_CommitOutputLine(benchmark::State& state) {
  const tl::platform::KeyValues keys = PowerCommitKeys();
  std::FILE* out = std::fopen("/dev/null", "we");
  {
    tl::host::OutputPrinter printer(out);
    tl::platform::DeviceMoment moment;
    for (auto _ : state) {
      moment.at += 1.5;
      printer.batch(moment, &keys, nullptr);
    }
  }
  std::fclose(out);
  state.counters["keys"] = static_cast<double>(keys.size());
}
BENCHMARK(BM_CommitOutputLine);

// One power commit folded into the store's day, with a flush and commit every thousand.
void BM_CommitFold(benchmark::State& state) {
  tl::platform::KeyValues keys = PowerCommitKeys();
  const std::string path = (std::filesystem::temp_directory_path() / "host_bench.db").string();
  std::filesystem::remove(path);
  {
    tl::host::Database db(path);
    tl::host::StatsStore store(db);
    tl::host::DailyReports reports(db);
    tl::host::StatsDaemon daemon(store, reports, nullptr);
    tl::platform::DeviceMoment moment;
    moment.local = {2026, 11, 22};
    int uncommitted = 0;
    db.exec("BEGIN");
    for (auto _ : state) {
      daemon.batch(moment, &keys, nullptr);
      if (++uncommitted == 1000) {
        store.flush();
        db.exec("COMMIT");
        db.exec("BEGIN");
        uncommitted = 0;
      }
    }
    store.flush();
    db.exec("COMMIT");
  }
  std::filesystem::remove(path);
}
BENCHMARK(BM_CommitFold);

// The check of one trace line, the kinds of a day's trace in turn.
void BM_CheckTraceLine(benchmark::State& state) {
  const std::string_view lines[] = {
      R"({"at":694.061,"battery":{"CurrentCapacity":2390,"AbsoluteCapacity":2390,"VeltroRawCurrentCapacity":2390,"Voltage":4197,"IsCharging":false,"AdapterInfo":0}})",
      R"({"at":28.281,"app_state":{"bundle":"com.example.app089","pid":1089,"state":1}})",
      R"({"at":872.598,"net":{"en0":{"tcpOOOPkt":2,"udpPort0":0}}})",
      R"({"at":959.143,"set":{"wake_reason":"tmr"}})",
  };
  size_t i = 0;
  for (auto _ : state) {
    tl::host::TraceLine line;
    auto error = tl::host::ParseTraceLine(lines[i++ % std::size(lines)], 2, &line);
    benchmark::DoNotOptimize(error);
  }
}
BENCHMARK(BM_CheckTraceLine);

}  // namespace
