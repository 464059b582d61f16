// SimContext: what every role of the simulated device shares.
#pragma once

#include "platform/sim/device_state.h"
#include "platform/sim/sim_cpu.h"
#include "platform/sim/sim_outputs.h"
#include "platform/sim/sim_scheduler.h"

namespace tl::sim {

struct SimContext {
  DeviceState& state;
  SimScheduler& scheduler;
  SimOutputs& outputs;
  SimCpu& cpu;
};

}  // namespace tl::sim
