// The power side's process-wide state.
#include "power/power_state.h"

namespace tl::power {

constinit Immortal<PowerState> g_power;

}  // namespace tl::power
