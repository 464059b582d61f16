// SimNamedNotifications: system-wide named notifications and the thermal level of the simulated
// device.
#pragma once

#include <map>
#include <string>

#include "platform/named_notifications.h"
#include "platform/sim/sim_context.h"

namespace tl::sim {

// A registration's queue must outlive the registration, as the module's process-long ones do.
class SimNamedNotifications : public platform::NamedNotifications {
 public:
  explicit SimNamedNotifications(SimContext context) : context_(context) {}

  uint32_t registerDispatch(const std::string& name, int32_t* out_token, platform::Queue& queue,
                            Handler handler) override;
  uint32_t registerCheck(const std::string& name, int32_t* out_token) override;
  uint32_t getState(int32_t token, uint64_t* out_state) override;
  uint32_t cancel(int32_t token) override;
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
  struct Registration {
    std::string name;
    platform::Queue* queue;  // nullptr for a check registration
    std::shared_ptr<Handler> handler;
  };
  uint32_t add(const std::string& name, int32_t* out_token, Registration registration);

  SimContext context_;
  std::map<int32_t, Registration> active_;
  int32_t nextToken_ = 1;
  std::map<std::string, uint64_t> states_;
  std::vector<std::string> registered_;
  std::vector<std::string> refused_;
};

}  // namespace tl::sim
