// A simulated device for benchmarks: its statistics go nowhere, so that a benchmark measures the
// module and not the recording of its outputs.
#pragma once

#include <fstream>
#include <string>

#include "platform/sim/sim_device.h"

namespace tl::bench {

class NullStatistics : public platform::StatisticsClient {
 public:
  void addValueForScalarKey(std::string_view, int64_t) override {}
  void pushValueForDistributionKey(std::string_view, double) override {}
  void batchKeys(const platform::KeyValues*, const platform::KeyValues*) override {}
};

class BenchDevice : public sim::SimDevice {
 public:
  using SimDevice::SimDevice;
  platform::StatisticsClient& statistics() override { return statistics_; }

 private:
  NullStatistics statistics_;
};

// Write system calls made by this process so far (Linux task I/O accounting).
inline uint64_t WriteSyscalls() {
  std::ifstream io("/proc/self/io");
  std::string name;
  uint64_t value = 0;
  while (io >> name >> value) {
    if (name == "syscw:") return value;
  }
  return 0;
}

}  // namespace tl::bench
