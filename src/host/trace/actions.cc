// The table of trace actions.
#include "host/trace/actions.h"

#include <algorithm>
#include <array>
#include <map>
#include <tuple>
#include <vector>

#include "host/trace/trace_format.h"

namespace tl::host {

namespace {

using Error = std::optional<std::string>;
using Notice = sim::SimApplications::Notice;

Error MustBeTrue(const Json& value, DeviceAction*) {
  if (value.is_boolean() && value.get<bool>()) return std::nullopt;
  return "must be true";
}

Action WorkspaceNotice(std::string_view name, Notice notice) {
  return Action{name, [notice](const Json& v, DeviceAction* out) -> Error {
                  if (!v.is_array()) return "must be a list of bundle identifiers";
                  for (const Json& bundle : v) {
                    if (!bundle.is_string()) return "must be a list of bundle identifiers";
                  }
                  *out = [notice, bundles = v.get<std::vector<std::string>>()](sim::SimDevice& d) {
                    d.simApplications().workspaceNotice(notice, bundles);
                  };
                  return std::nullopt;
                }};
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

constexpr char kCpuSecondsRule[] = "must be a number of CPU seconds, 0 to 10^12";

// A cumulative CPU time: finite, not negative, and far below what a double counts exactly.
bool IsCpuSeconds(const Json& v) {
  return v.is_number() && v.get<double>() >= 0 && v.get<double>() <= 1e12;
}

std::optional<uint32_t> PowerMessageNamed(const Json& v) {
  if (v == "can_sleep") return platform::kMessageCanSystemSleep;
  if (v == "will_sleep") return platform::kMessageSystemWillSleep;
  if (v == "powered_on") return platform::kMessageSystemHasPoweredOn;
  if (v == "will_power_on") return platform::kMessageSystemWillPowerOn;
  return std::nullopt;
}

const std::array kActions = {
    Action{kLoadAction, MustBeTrue},
    Action{kRestartAction, MustBeTrue},
    Action{kSetAction,
           [](const Json& v, DeviceAction* out) -> Error {
             sim::DeviceFields fields;
             if (auto error = ParseDeviceFields(v, &fields)) return error;
             *out = [fields = std::move(fields)](sim::SimDevice& d) { d.set(fields); };
             return std::nullopt;
           }},
    Action{"thermal",
           [](const Json& v, DeviceAction* out) -> Error {
             if (!v.is_number_integer()) return "must be an integer thermal level";
             *out = [level = v.get<int64_t>()](sim::SimDevice& d) { d.setThermalLevel(level); };
             return std::nullopt;
           }},
    Action{"app",
           [](const Json& v, DeviceAction* out) -> Error {
             platform::RSApplicationProxy proxy;
             if (auto error = ParseProxy(v, &proxy)) return error;
             *out = [proxy = std::move(proxy)](sim::SimDevice& d) {
               d.simApplications().addProxy(proxy);
             };
             return std::nullopt;
           }},
    Action{"app_state",
           [](const Json& v, DeviceAction* out) -> Error {
             if (!v.is_object()) return "must be the monitor's state dictionary";
             *out = [info = *ToValue(v).dictionary()](sim::SimDevice& d) {
               d.simApplications().reportState(info);
             };
             return std::nullopt;
           }},
    Action{
        "app_info",
        [](const Json& v, DeviceAction* out) -> Error {
          if (!v.is_object() || !v.contains("pid") || !v["pid"].is_number_integer() ||
              !v.contains("bundle")) {
            return "must be {\"pid\": PID, \"bundle\": BUNDLE}";
          }
          *out = [pid = v["pid"].get<int32_t>(), bundle = ToValue(v["bundle"])](sim::SimDevice& d) {
            d.simApplications().setApplicationInfo(pid, {{platform::kAppInfoDisplayIdKey, bundle}});
          };
          return std::nullopt;
        }},
    WorkspaceNotice("installed", Notice::kInstalled),
    WorkspaceNotice("uninstalled", Notice::kUninstalled),
    WorkspaceNotice("install_started", Notice::kInstallStarted),
    WorkspaceNotice("install_failed", Notice::kInstallFailed),
    WorkspaceNotice("install_cancelled", Notice::kInstallCancelled),
    Action{"notify",
           [](const Json& v, DeviceAction* out) -> Error {
             if (!v.is_object() || !v.contains("name") || !v["name"].is_string()) {
               return "must be {\"name\": NAME, \"state\": STATE}";
             }
             if (v.contains("state") && !v["state"].is_number_integer()) {
               return "state must be an integer";
             }
             std::optional<uint64_t> state;
             if (v.contains("state")) state = v["state"].get<uint64_t>();
             *out = [name = v["name"].get<std::string>(), state](sim::SimDevice& d) {
               d.postNamedNotification(name, state);
             };
             return std::nullopt;
           }},
    Action{"activity",
           [](const Json& v, DeviceAction* out) -> Error {
             if (!v.is_object() || !v.contains("name") || !v["name"].is_string() ||
                 !v.contains("state") || !ActivityStateNamed(v["state"])) {
               return "must be {\"name\": NAME, \"state\": \"run\"} (or check_in, wait, defer, "
                      "continue, done)";
             }
             *out = [name = v["name"].get<std::string>(), state = *ActivityStateNamed(v["state"])](
                        sim::SimDevice& d) { d.simApplications().runActivity(name, state); };
             return std::nullopt;
           }},
    Action{"battery",
           [](const Json& v, DeviceAction* out) -> Error {
             if (!v.is_object())
               return "must be a property dictionary to merge into the battery entry";
             *out = [properties = *ToValue(v).dictionary()](sim::SimDevice& d) {
               d.mergeBattery(properties);
             };
             return std::nullopt;
           }},
    Action{"power",
           [](const Json& v, DeviceAction* out) -> Error {
             if (!v.is_object() || !v.contains("message") || !PowerMessageNamed(v["message"]) ||
                 !v.contains("id") || !v["id"].is_number_integer()) {
               return "must be {\"message\": \"can_sleep\" (or will_sleep, powered_on, "
                      "will_power_on), \"id\": ID}";
             }
             *out = [message = *PowerMessageNamed(v["message"]), id = v["id"].get<intptr_t>()](
                        sim::SimDevice& d) { d.simRegistry().systemPowerMessage(message, id); };
             return std::nullopt;
           }},
    Action{"backlight",
           [](const Json& v, DeviceAction* out) -> Error {
             if (!v.is_number_integer()) return "must be an integer brightness value";
             *out = [value = v.get<int64_t>()](sim::SimDevice& d) { d.setBacklightValue(value); };
             return std::nullopt;
           }},
    Action{"net",
           [](const Json& v, DeviceAction* out) -> Error {
             if (!v.is_object()) return "must be an object from interface name to counter changes";
             std::vector<std::pair<std::string, sim::CounterChanges>> changes;
             for (const auto& [name, counters] : v.items()) {
               sim::CounterChanges parsed;
               if (auto error = ParseCounters(counters, &parsed)) {
                 return "interface " + name + ": " + *error;
               }
               changes.emplace_back(name, std::move(parsed));
             }
             *out = [changes = std::move(changes)](sim::SimDevice& d) {
               for (const auto& [name, counters] : changes) {
                 d.simKernel().changeCounters(name, counters);
               }
             };
             return std::nullopt;
           }},
    Action{"fault",
           [](const Json& v, DeviceAction* out) -> Error {
             using platform::FaultyFileSystem;
             if (!v.is_object() || v.empty()) {
               return "must be an object from fault to a path prefix, or to null to end it";
             }
             std::vector<std::tuple<FaultyFileSystem::Fault, bool, std::string>> changes;
             for (const auto& [name, prefix] : v.items()) {
               auto fault = FaultyFileSystem::FaultNamed(name);
               if (!fault) {
                 return "has an unknown fault \"" + name +
                        "\" (no_space, no_permission, failed_rename, failed_open, failed_chmod)";
               }
               if (!prefix.is_null() &&
                   !(prefix.is_string() && prefix.get<std::string>().starts_with('/'))) {
                 return "fault " + name + " must name an absolute path prefix, or be null";
               }
               changes.emplace_back(*fault, !prefix.is_null(),
                                    prefix.is_string() ? prefix.get<std::string>() : "");
             }
             *out = [changes = std::move(changes)](sim::SimDevice& d) {
               for (const auto& [fault, on, prefix] : changes)
                 d.faults().setFault(fault, on, prefix);
             };
             return std::nullopt;
           }},
    Action{"cpu",
           [](const Json& v, DeviceAction* out) -> Error {
             constexpr const char* kShape =
                 "must be {\"apps\": {BUNDLE: SECONDS, ...}, \"total\": SECONDS}, cumulative CPU "
                 "seconds (either member may be left out)";
             if (!v.is_object() || v.empty()) return kShape;
             std::map<std::string, double> apps;
             std::optional<double> total;
             for (const auto& [member, value] : v.items()) {
               if (member == "total") {
                 if (!IsCpuSeconds(value)) return "total " + std::string(kCpuSecondsRule);
                 total = value.get<double>();
               } else if (member == "apps" && value.is_object()) {
                 for (const auto& [bundle, seconds] : value.items()) {
                   if (!IsCpuSeconds(seconds)) return "app " + bundle + " " + kCpuSecondsRule;
                   apps[bundle] = seconds.get<double>();
                 }
               } else {
                 return kShape;
               }
             }
             *out = [apps = std::move(apps), total](sim::SimDevice& d) {
               d.cpu().setCounters(apps, total);
             };
             return std::nullopt;
           }},
    Action{"memory_pressure",
           [](const Json& v, DeviceAction* out) -> Error {
             if (v != "warning" && v != "critical") return "must be \"warning\" or \"critical\"";
             *out = [level = v == "warning" ? platform::kMemoryPressureWarning
                                            : platform::kMemoryPressureCritical](
                        sim::SimDevice& d) { d.memoryPressure(level); };
             return std::nullopt;
           }},
};

}  // namespace

const Action* FindAction(std::string_view name) {
  for (const Action& action : kActions) {
    if (action.name == name) return &action;
  }
  return nullptr;
}

std::optional<std::string_view> NearestActionName(std::string_view name) {
  // Edit distance (insertions, deletions, substitutions) with one row of the table.
  auto distance = [](std::string_view a, std::string_view b) {
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
      size_t diagonal = row[0];
      row[0] = i;
      for (size_t j = 1; j <= b.size(); ++j) {
        const size_t above = row[j];
        row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] != b[j - 1])});
        diagonal = above;
      }
    }
    return row[b.size()];
  };
  std::optional<std::string_view> best;
  size_t bestDistance = 3;  // a near miss is at most two edits away
  for (const Action& action : kActions) {
    const size_t d = distance(name, action.name);
    if (d < bestDistance) {
      bestDistance = d;
      best = action.name;
    }
  }
  return best;
}

}  // namespace tl::host
