// SimContext: what every role of the simulated device shares.
#pragma once

#include "platform/sim/device_data.h"
#include "platform/sim/sim_outputs.h"
#include "platform/sim/sim_scheduler.h"

namespace tl::sim {

struct SimContext {
  DeviceData& data;
  SimScheduler& scheduler;
  SimOutputs& outputs;
};

}  // namespace tl::sim
