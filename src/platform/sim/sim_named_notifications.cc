// SimNamedNotifications: tokens, states and delivery on the registered queues.
#include "platform/sim/sim_named_notifications.h"

#include <algorithm>

namespace tl::sim {

using namespace platform;

uint32_t SimNamedNotifications::add(const std::string& name, int32_t* out_token,
                                    Registration registration) {
  if (name.empty()) return kNotifyStatusInvalidName;
  if (std::find(refused_.begin(), refused_.end(), name) != refused_.end()) {
    return kNotifyStatusFailed;
  }
  int32_t token = nextToken_++;
  active_.emplace(token, std::move(registration));
  registered_.push_back(name);
  if (out_token) *out_token = token;
  return kNotifyStatusOk;
}

uint32_t SimNamedNotifications::registerDispatch(const std::string& name, int32_t* out_token,
                                                 Queue& queue, Handler handler) {
  return add(name, out_token, {name, &queue, std::make_shared<Handler>(std::move(handler))});
}

uint32_t SimNamedNotifications::registerCheck(const std::string& name, int32_t* out_token) {
  return add(name, out_token, {name, nullptr, nullptr});
}

uint32_t SimNamedNotifications::getState(int32_t token, uint64_t* out_state) {
  auto it = active_.find(token);
  if (it == active_.end()) return kNotifyStatusInvalidToken;
  *out_state = state(it->second.name);
  return kNotifyStatusOk;
}

uint32_t SimNamedNotifications::cancel(int32_t token) {
  return active_.erase(token) ? kNotifyStatusOk : kNotifyStatusInvalidToken;
}

int64_t SimNamedNotifications::thermalLevel() {
  return context_.data.field("thermal_level").get<int64_t>();
}

void SimNamedNotifications::post(const std::string& name) {
  for (const auto& [token, registration] : active_) {
    if (registration.name != name || !registration.queue) continue;
    auto handler = registration.handler;
    int32_t t = token;
    registration.queue->async([handler, t] { (*handler)(t); });
  }
}

void SimNamedNotifications::setState(const std::string& name, uint64_t state) {
  states_[name] = state;
}

uint64_t SimNamedNotifications::state(const std::string& name) const {
  auto it = states_.find(name);
  return it == states_.end() ? 0 : it->second;
}

size_t SimNamedNotifications::activeRegistrations(const std::string& name) const {
  return std::count_if(active_.begin(), active_.end(),
                       [&](const auto& entry) { return entry.second.name == name; });
}

}  // namespace tl::sim
