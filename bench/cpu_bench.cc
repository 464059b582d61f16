// What reading each application's CPU costs at a power commit: 50 running applications, each
// in a unit whose cgroup's cpu.stat is read, and the device's /proc/stat.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "platform/linux/apps/app_cpu.h"

namespace {

namespace fs = std::filesystem;

struct Machine {
  fs::path root = fs::temp_directory_path() / "tallyline-cpu-bench";
  std::map<std::string, tl::linuxdev::CpuSources> sources;
  std::vector<tl::linuxdev::AppStateChange> changes;

  explicit Machine(int apps) {
    fs::remove_all(root);
    fs::create_directories(root / "proc");
    std::ofstream(root / "proc/stat") << "cpu  1000 20 300 9999 50 5 15 10 0 0\n";
    for (int i = 0; i < apps; ++i) {
      const std::string app = "org.example.App" + std::to_string(i);
      const std::string cgroup = "/user.slice/app.slice/app-" + app + ".scope";
      fs::create_directories(root / ("cgroup" + cgroup));
      std::ofstream(root / ("cgroup" + cgroup) / "cpu.stat")
          << "usage_usec " << 1000000 + i << "\nuser_usec 900000\nsystem_usec 100000\n"
          << "nr_periods 0\nnr_throttled 0\nthrottled_usec 0\n";
      sources[app].cgroups.insert(cgroup);
      changes.push_back({app, 1000 + i, i == 0 ? 8u : 4u});
    }
  }
  ~Machine() { fs::remove_all(root); }
};

void BM_ReadCpuAtCommit(benchmark::State& state) {
  Machine machine(static_cast<int>(state.range(0)));
  double now = 0;
  tl::linuxdev::AppCpu cpu((machine.root / "cgroup").string(), (machine.root / "proc").string(),
                           [&now] { return now += 1; }, [](std::string_view) {});
  cpu.update(machine.sources, machine.changes);
  tl::platform::CpuUse use;
  for (auto _ : state) {
    cpu.read(&use);
    benchmark::DoNotOptimize(use);
  }
  state.counters["apps"] = static_cast<double>(state.range(0));
}
BENCHMARK(BM_ReadCpuAtCommit)->Arg(10)->Arg(50)->Unit(benchmark::kMicrosecond);

}  // namespace
