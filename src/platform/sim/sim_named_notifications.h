// SimNamedNotifications: system-wide named notifications and the thermal level of the simulated
// device.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/named_notifications.h"
#include "platform/sim/sim_context.h"

namespace tl::sim {

class SimNamedNotifications : public platform::NamedNotifications {
 public:
  explicit SimNamedNotifications(SimContext context) : context_(context) {}

  Status registerDispatch(const std::string& name, platform::Queue& queue, Handler handler,
                          std::unique_ptr<platform::NotifyRegistration>* out) override;
  Status registerCheck(const std::string& name,
                       std::unique_ptr<platform::NotifyRegistration>* out) override;
  Status getState(int32_t token, uint64_t* state) override;
  int64_t thermalLevel() override;

  // The system side.
  void post(const std::string& name);
  void setState(const std::string& name, uint64_t state);
  uint64_t state(const std::string& name) const;
  // Names that registered, once per registration, in order.
  const std::vector<std::string>& registrations() const { return registered_; }
  size_t activeRegistrations(const std::string& name) const;
  // A failure for every later registration of name (the notification system refusing it).
  void refuseRegistrations(const std::string& name) { refused_.push_back(name); }

  const std::map<std::string, uint64_t>& states() const { return states_; }
  void restoreStates(std::map<std::string, uint64_t> states) { states_ = std::move(states); }

 private:
  class Token;
  struct Registration {
    std::string name;
    platform::Queue* queue;  // nullptr for a check registration
    std::shared_ptr<Handler> handler;
  };
  Status add(Registration registration, std::unique_ptr<platform::NotifyRegistration>* out);

  SimContext context_;
  std::map<int32_t, Registration> active_;
  int32_t nextToken_ = 1;
  std::map<std::string, uint64_t> states_;
  std::vector<std::string> registered_;
  std::vector<std::string> refused_;
};

}  // namespace tl::sim
