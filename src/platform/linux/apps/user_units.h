// UserUnits: the application units of the systemd user manager (app-… scopes and services),
// their states and their processes, on the loop thread.
#pragma once

#include <systemd/sd-bus.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/linux/apps/app_run_states.h"
#include "platform/linux/loop/bus.h"

namespace tl::linuxdev {

class UserUnits {
 public:
  // cgroup is the unit's control group below the root, "" when the manager does not say.
  using Changed =
      std::function<void(const std::string& name, const AppUnit& unit, const std::string& cgroup)>;
  using Gone = std::function<void(const std::string& name)>;
  // cgroupRoot is where the unified cgroup hierarchy is mounted (/sys/fs/cgroup).
  UserUnits(sd_bus* sessionBus, std::string cgroupRoot, Changed changed, Gone gone);

  // Follows the manager's units and reads the application units present (blocking, before the
  // loop runs). false without a user manager.
  Status start();
  // Reads every known unit again: processes a unit gains later are not announced.
  void refresh();

 private:
  static int OnUnitNew(sd_bus_message* message, void* self, sd_bus_error*);
  static int OnUnitRemoved(sd_bus_message* message, void* self, sd_bus_error*);
  static int OnPropertiesChanged(sd_bus_message* message, void* self, sd_bus_error*);
  Status list(const char* method);
  void read(const std::string& name, const std::string& path);
  std::string property(const std::string& path, const char* interface, const char* name);

  sd_bus* bus_;
  std::string cgroupRoot_;
  Changed changed_;
  Gone gone_;
  std::vector<SlotPtr> matches_;
  std::map<std::string, std::string> units_;  // object path → unit name
};

// The processes listed in a cgroup's cgroup.procs text.
std::vector<int32_t> ParseCgroupProcs(const std::string& text);

}  // namespace tl::linuxdev
