// SimCpu: the trace's counters into the ledger, at virtual time.
#include "platform/sim/sim_cpu.h"

#include "platform/applications.h"

namespace tl::sim {

void SimCpu::appState(const platform::Dictionary& stateInfo) {
  const platform::Value* bundle = platform::Find(stateInfo, platform::kAppInfoDisplayIdKey);
  const platform::Value* state = platform::Find(stateInfo, platform::kAppInfoStateKey);
  if (!bundle || !bundle->string() || !state || !state->isInteger()) return;
  ledger_.state(*bundle->string(), static_cast<uint32_t>(state->longLongValue()),
                scheduler_.elapsedSeconds());
}

void SimCpu::setCounters(const std::map<std::string, double>& apps, std::optional<double> total) {
  const double now = scheduler_.elapsedSeconds();
  for (const auto& [app, seconds] : apps) {
    // The counters start at 0 with the trace.
    auto it = state_.appCpu.try_emplace(app, 0.0).first;
    std::optional<double> last = it->second;
    if (std::optional<double> gain = platform::CounterGain(last, seconds)) {
      ledger_.addCpu(app, *gain, now);
    } else {
      ledger_.unknownCpu(app, now);
    }
    it->second = seconds;
  }
  if (total) state_.totalCpu = *total;
}

void SimCpu::read(platform::CpuUse* use) {
  ledger_.take(scheduler_.elapsedSeconds(), &use->apps);
  use->deviceCpu = state_.totalCpu;
}

}  // namespace tl::sim
