// The trace's actions: how each is checked and what it does to the simulated device.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/sim/sim_device.h"

namespace tl::host {

using sim::Json;

struct Action {
  std::string_view name;
  // What is wrong with a value, or nullopt; checked before anything of the line runs.
  std::function<std::optional<std::string>(const Json& value)> check;
  std::function<void(sim::SimDevice& device, const Json& value)> apply;
};

// The action of that name, or nullptr. "load" and "restart" are the host's own and have no
// apply.
const Action* FindAction(std::string_view name);

}  // namespace tl::host
