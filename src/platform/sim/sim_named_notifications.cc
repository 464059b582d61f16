// SimNamedNotifications: tokens, states and delivery on the registered queues.
#include "platform/sim/sim_named_notifications.h"

#include <algorithm>

namespace tl::sim {

using namespace platform;

// A registration's token; destroying it cancels the registration.
class SimNamedNotifications::Token : public NotifyRegistration {
 public:
  Token(SimNamedNotifications& owner, int32_t token) : owner_(owner), token_(token) {}
  ~Token() override { owner_.active_.erase(token_); }
  int32_t token() const override { return token_; }

 private:
  SimNamedNotifications& owner_;
  int32_t token_;
};

Status SimNamedNotifications::add(Registration registration,
                                  std::unique_ptr<NotifyRegistration>* out) {
  if (registration.name.empty()) return Status::Error(kNotifyStatusInvalidName, "invalid name");
  if (std::find(refused_.begin(), refused_.end(), registration.name) != refused_.end()) {
    return Status::Error(kNotifyStatusFailed, "registration refused");
  }
  const int32_t token = nextToken_++;
  registered_.push_back(registration.name);
  active_.emplace(token, std::move(registration));
  *out = std::make_unique<Token>(*this, token);
  return Status::OK();
}

Status SimNamedNotifications::registerDispatch(const std::string& name, Queue& queue,
                                               Handler handler,
                                               std::unique_ptr<NotifyRegistration>* out) {
  return add({name, &queue, std::make_shared<Handler>(std::move(handler))}, out);
}

Status SimNamedNotifications::registerCheck(const std::string& name,
                                            std::unique_ptr<NotifyRegistration>* out) {
  return add({name, nullptr, nullptr}, out);
}

Status SimNamedNotifications::getState(int32_t token, uint64_t* state) {
  auto it = active_.find(token);
  if (it == active_.end()) return Status::Error(kNotifyStatusInvalidToken, "invalid token");
  *state = this->state(it->second.name);
  return Status::OK();
}

int64_t SimNamedNotifications::thermalLevel() { return context_.state.thermalLevel; }

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
