// The table of trace actions.
#include "host/actions.h"

#include <array>

namespace tl::host {

namespace {

using Notice = sim::SimApplications::Notice;

std::optional<std::string> MustBeTrue(const Json& value) {
  if (value.is_boolean() && value.get<bool>()) return std::nullopt;
  return "must be true";
}

std::optional<std::string> BundleList(const Json& value) {
  if (!value.is_array()) return "must be a list of bundle identifiers";
  for (const Json& bundle : value) {
    if (!bundle.is_string()) return "must be a list of bundle identifiers";
  }
  return std::nullopt;
}

Action WorkspaceNotice(std::string_view name, Notice notice) {
  return Action{name, BundleList, [notice](sim::SimDevice& device, const Json& v) {
                  device.simApplications().workspaceNotice(notice,
                                                           v.get<std::vector<std::string>>());
                }};
}

// {"name", "state"} of a named notification; the state is optional.
std::optional<std::string> NamedNotice(const Json& v) {
  if (!v.is_object() || !v.contains("name") || !v["name"].is_string()) {
    return "must be {\"name\": NAME, \"state\": STATE}";
  }
  if (v.contains("state") && !v["state"].is_number_integer()) {
    return "state must be an integer";
  }
  return std::nullopt;
}

std::optional<platform::ActivityState> ActivityStateNamed(const Json& v) {
  static const std::pair<const char*, platform::ActivityState> kStates[] = {
      {"check_in", platform::ActivityState::kCheckIn},  {"wait", platform::ActivityState::kWait},
      {"run", platform::ActivityState::kRun},           {"defer", platform::ActivityState::kDefer},
      {"continue", platform::ActivityState::kContinue}, {"done", platform::ActivityState::kDone}};
  for (const auto& [name, state] : kStates) {
    if (v == name) return state;
  }
  return std::nullopt;
}

std::optional<uint32_t> PowerMessageNamed(const Json& v) {
  if (v == "can_sleep") return platform::kMessageCanSystemSleep;
  if (v == "will_sleep") return platform::kMessageSystemWillSleep;
  if (v == "powered_on") return platform::kMessageSystemHasPoweredOn;
  if (v == "will_power_on") return platform::kMessageSystemWillPowerOn;
  return std::nullopt;
}

std::optional<std::string> NetChanges(const Json& v) {
  if (!v.is_object()) return "must be an object from interface name to counter changes";
  for (const auto& [name, counters] : v.items()) {
    if (auto error = sim::ValidateCounters(counters)) return "interface " + name + ": " + *error;
  }
  return std::nullopt;
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
    Action{"app_state",
           [](const Json& v) -> std::optional<std::string> {
             if (v.is_object()) return std::nullopt;
             return "must be the monitor's state dictionary";
           },
           [](sim::SimDevice& device, const Json& v) {
             device.simApplications().reportState(*sim::ToValue(v).dictionary());
           }},
    Action{"app_info",
           [](const Json& v) -> std::optional<std::string> {
             if (v.is_object() && v.contains("pid") && v["pid"].is_number_integer() &&
                 v.contains("bundle")) {
               return std::nullopt;
             }
             return "must be {\"pid\": PID, \"bundle\": BUNDLE}";
           },
           [](sim::SimDevice& device, const Json& v) {
             device.simApplications().setApplicationInfo(
                 v["pid"].get<int32_t>(),
                 {{platform::kAppInfoDisplayIdKey, sim::ToValue(v["bundle"])}});
           }},
    WorkspaceNotice("installed", Notice::kInstalled),
    WorkspaceNotice("uninstalled", Notice::kUninstalled),
    WorkspaceNotice("install_started", Notice::kInstallStarted),
    WorkspaceNotice("install_failed", Notice::kInstallFailed),
    WorkspaceNotice("install_cancelled", Notice::kInstallCancelled),
    Action{"notify", NamedNotice,
           [](sim::SimDevice& device, const Json& v) {
             std::optional<uint64_t> state;
             if (v.contains("state")) state = v["state"].get<uint64_t>();
             device.postNamedNotification(v["name"].get<std::string>(), state);
           }},
    Action{"activity",
           [](const Json& v) -> std::optional<std::string> {
             if (v.is_object() && v.contains("name") && v["name"].is_string() &&
                 v.contains("state") && ActivityStateNamed(v["state"])) {
               return std::nullopt;
             }
             return "must be {\"name\": NAME, \"state\": \"run\"} (or check_in, wait, defer, "
                    "continue, done)";
           },
           [](sim::SimDevice& device, const Json& v) {
             device.simApplications().runActivity(v["name"].get<std::string>(),
                                                  *ActivityStateNamed(v["state"]));
           }},
    Action{"battery",
           [](const Json& v) -> std::optional<std::string> {
             if (v.is_object()) return std::nullopt;
             return "must be a property dictionary to merge into the battery entry";
           },
           [](sim::SimDevice& device, const Json& v) { device.mergeBattery(v); }},
    Action{"power",
           [](const Json& v) -> std::optional<std::string> {
             if (v.is_object() && v.contains("message") && PowerMessageNamed(v["message"]) &&
                 v.contains("id") && v["id"].is_number_integer()) {
               return std::nullopt;
             }
             return "must be {\"message\": \"can_sleep\" (or will_sleep, powered_on, "
                    "will_power_on), \"id\": ID}";
           },
           [](sim::SimDevice& device, const Json& v) {
             device.simRegistry().systemPowerMessage(*PowerMessageNamed(v["message"]),
                                                     v["id"].get<intptr_t>());
           }},
    Action{"backlight",
           [](const Json& v) -> std::optional<std::string> {
             if (v.is_number_integer()) return std::nullopt;
             return "must be an integer brightness value";
           },
           [](sim::SimDevice& device, const Json& v) {
             device.setBacklightValue(v.get<int64_t>());
           }},
    Action{"net", NetChanges,
           [](sim::SimDevice& device, const Json& v) {
             for (const auto& [name, counters] : v.items()) {
               device.simKernel().changeCounters(name, counters);
             }
           }},
    Action{"memory_pressure",
           [](const Json& v) -> std::optional<std::string> {
             if (v == "warning" || v == "critical") return std::nullopt;
             return "must be \"warning\" or \"critical\"";
           },
           [](sim::SimDevice& device, const Json& v) {
             device.memoryPressure(v == "warning" ? platform::kMemoryPressureWarning
                                                  : platform::kMemoryPressureCritical);
           }},
};

}  // namespace

const Action* FindAction(std::string_view name) {
  for (const Action& action : kActions) {
    if (action.name == name) return &action;
  }
  return nullptr;
}

}  // namespace tl::host
