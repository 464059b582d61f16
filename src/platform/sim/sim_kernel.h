// SimKernel: the kernel queries of the simulated device, answered from its processes,
// interfaces, machine name and wake reason.
#pragma once

#include "platform/kernel.h"
#include "platform/sim/sim_context.h"

namespace tl::sim {

class SimKernel : public platform::Kernel {
 public:
  explicit SimKernel(SimContext context) : context_(context) {}

  int sysctl(std::span<const int> name, void* buffer, size_t* length) override;
  int sysctlByName(std::string_view name, void* buffer, size_t* length) override;
  int processResourceUsage(int32_t pid, int flavor, platform::ResourceUsageV0* out) override;
  Status multiUserMode(bool* multiUser) override;
  Status interfaceAddresses(std::vector<platform::InterfaceAddress>* out) override;
  unsigned interfaceIndex(const std::string& name) override;
  int32_t processId() override;

  // Changes the counters of interface name; false for an unknown interface.
  bool changeCounters(const std::string& name, const CounterChanges& changes);

 private:
  int process(int32_t pid, void* buffer, size_t* length);
  int supplemental(unsigned index, void* buffer, size_t* length);
  const Process* processEntry(int32_t pid);

  SimContext context_;
};

}  // namespace tl::sim
