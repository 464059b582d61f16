// The power side's process-wide state.
#include "power/power_state.h"

#include "base/no_destructor.h"

namespace tl::power {

PowerState& Power() {
  static NoDestructor<PowerState> state;
  return *state;
}

}  // namespace tl::power
