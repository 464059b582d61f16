// The table of trace actions.
#include "host/actions.h"

#include <array>

namespace tl::host {

namespace {

std::optional<std::string> MustBeTrue(const Json& value) {
  if (value.is_boolean() && value.get<bool>()) return std::nullopt;
  return "must be true";
}

const std::array kActions = {
    Action{"load", MustBeTrue, nullptr},
    Action{"restart", MustBeTrue, nullptr},
    Action{"set", [](const Json& v) { return sim::DeviceData::validate(v); },
           [](sim::SimDevice& device, const Json& v) { device.set(v); }},
    Action{"thermal",
           [](const Json& v) -> std::optional<std::string> {
             if (v.is_number_integer()) return std::nullopt;
             return "must be an integer thermal level";
           },
           [](sim::SimDevice& device, const Json& v) { device.setThermalLevel(v.get<int64_t>()); }},
    Action{"app", [](const Json& v) { return sim::ValidateProxy(v); },
           [](sim::SimDevice& device, const Json& v) { device.simApplications().addProxy(v); }},
};

}  // namespace

const Action* FindAction(std::string_view name) {
  for (const Action& action : kActions) {
    if (action.name == name) return &action;
  }
  return nullptr;
}

}  // namespace tl::host
