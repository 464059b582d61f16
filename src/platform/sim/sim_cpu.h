// SimCpu: the simulated device's CPU counters, which the trace sets, and the ledger that books
// them to each application's foreground or background.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "platform/app_cpu_ledger.h"
#include "platform/cpu_usage.h"
#include "platform/sim/device_state.h"
#include "platform/sim/sim_scheduler.h"
#include "platform/value.h"

namespace tl::sim {

// The counters are device state: they start at 0 with the trace and carry over a restart. The
// ledger is the daemon process's: after a restart, what a counter gained since its last value
// is booked to the state the new process knows the application in.
class SimCpu : public platform::CpuUsage {
 public:
  SimCpu(DeviceState& state, SimScheduler& scheduler) : state_(state), scheduler_(scheduler) {}

  // The run-state monitor reports stateInfo (its bundle and state).
  void appState(const platform::Dictionary& stateInfo);
  // Sets the cumulative CPU seconds of the applications named and, when given, of the whole
  // device.
  void setCounters(const std::map<std::string, double>& apps, std::optional<double> total);

  void read(platform::CpuUse* use) override;

 private:
  DeviceState& state_;
  SimScheduler& scheduler_;
  platform::AppCpuLedger ledger_;
};

}  // namespace tl::sim
