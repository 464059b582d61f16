// The trace's actions: how each line's value is checked and what it does to the simulated device.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "host/json/json_values.h"
#include "platform/sim/sim_device.h"

namespace tl::host {

// What a line does to the device, with its values already checked and typed.
using DeviceAction = std::function<void(sim::SimDevice& device)>;

struct Action {
  std::string_view name;
  // What is wrong with value, or nullopt with *out holding what the line does (nothing for the
  // host's own actions, "load" and "restart"). Nothing is applied.
  std::function<std::optional<std::string>(const Json& value, DeviceAction* out)> parse;
};

// The action of that name, or nullptr.
const Action* FindAction(std::string_view name);
// The action name at most two edits from name (the closest), for a suggestion.
std::optional<std::string_view> NearestActionName(std::string_view name);

inline constexpr std::string_view kLoadAction = "load";
inline constexpr std::string_view kRestartAction = "restart";
inline constexpr std::string_view kSetAction = "set";

}  // namespace tl::host
