// The simulated device the module's harnesses run on: current for the whole fuzzing process,
// since the code under test logs through the current platform.
#pragma once

#include "base/no_destructor.h"
#include "platform/platform.h"
#include "platform/sim/sim_device.h"

namespace tl::fuzz {

inline void MakeDeviceCurrent() {
  static NoDestructor<sim::SimDevice> device;
  platform::MakeCurrent(device.get());
}

}  // namespace tl::fuzz
