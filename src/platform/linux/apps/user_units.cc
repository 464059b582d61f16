// UserUnits: the manager's signals, the unit properties read on each, and the cgroup's processes.
#include "platform/linux/apps/user_units.h"

#include <charconv>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "platform/linux/apps/app_ids.h"

namespace tl::linuxdev {

namespace {

constexpr char kService[] = "org.freedesktop.systemd1";
constexpr char kManagerPath[] = "/org/freedesktop/systemd1";
constexpr char kManager[] = "org.freedesktop.systemd1.Manager";
constexpr char kUnit[] = "org.freedesktop.systemd1.Unit";

bool Alive(const std::string& activeState) {
  return activeState == "active" || activeState == "activating" || activeState == "reloading" ||
         activeState == "deactivating";
}

}  // namespace

std::vector<int32_t> ParseCgroupProcs(const std::string& text) {
  std::vector<int32_t> pids;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    int32_t pid = 0;
    auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), pid);
    if (error == std::errc() && end == line.data() + line.size() && pid > 0) pids.push_back(pid);
  }
  return pids;
}

UserUnits::UserUnits(sd_bus* sessionBus, std::string cgroupRoot, Changed changed, Gone gone)
    : bus_(sessionBus),
      cgroupRoot_(std::move(cgroupRoot)),
      changed_(std::move(changed)),
      gone_(std::move(gone)) {}

Status UserUnits::start() {
  if (!bus_) return NoBus("session");
  struct Match {
    const char* member;
    sd_bus_message_handler_t handler;
  };
  for (Match match : {Match{"UnitNew", OnUnitNew}, Match{"UnitRemoved", OnUnitRemoved}}) {
    sd_bus_slot* slot = nullptr;
    if (sd_bus_match_signal(bus_, &slot, kService, kManagerPath, kManager, match.member,
                            match.handler, this) >= 0) {
      matches_.emplace_back(slot);
    }
  }
  sd_bus_slot* slot = nullptr;
  if (sd_bus_add_match(bus_, &slot,
                       "type='signal',sender='org.freedesktop.systemd1',"
                       "interface='org.freedesktop.DBus.Properties',member='PropertiesChanged',"
                       "path_namespace='/org/freedesktop/systemd1/unit'",
                       OnPropertiesChanged, this) >= 0) {
    matches_.emplace_back(slot);
  }
  // Without a subscription the manager sends no unit signals; a manager that does not know the
  // call sends them anyway.
  sd_bus_call_method(bus_, kService, kManagerPath, kManager, "Subscribe", nullptr, nullptr, "");
  if (list("ListUnitsByPatterns").ok()) return Status::OK();
  return list("ListUnits");
}

Status UserUnits::list(const char* method) {
  sd_bus_message* reply = nullptr;
  BusError error;
  const bool byPatterns = std::string_view(method) == "ListUnitsByPatterns";
  const int r = byPatterns ? sd_bus_call_method(bus_, kService, kManagerPath, kManager, method,
                                                error.get(), &reply, "asas", 0, 1, "app-*")
                           : sd_bus_call_method(bus_, kService, kManagerPath, kManager, method,
                                                error.get(), &reply, "");
  const MessagePtr owned(reply);
  if (r < 0) return BusStatus(r, error);
  if (const int entered = sd_bus_message_enter_container(reply, 'a', "(ssssssouso)"); entered < 0) {
    return ReturnStatus(entered);
  }
  std::vector<std::pair<std::string, std::string>> found;
  const char *name, *description, *load, *active, *sub, *following, *path, *jobType, *jobPath;
  uint32_t jobId;
  while (sd_bus_message_read(reply, "(ssssssouso)", &name, &description, &load, &active, &sub,
                             &following, &path, &jobId, &jobType, &jobPath) > 0) {
    if (AppIdFromUnitName(name)) found.emplace_back(name, path);
  }
  for (const auto& [unitName, unitPath] : found) read(unitName, unitPath);
  return Status::OK();
}

std::string UserUnits::property(const std::string& path, const char* interface, const char* name) {
  char* value = nullptr;
  BusError error;
  const int r = sd_bus_get_property_string(bus_, kService, path.c_str(), interface, name,
                                           error.get(), &value);
  const BusString owned(value);
  return r >= 0 && value ? std::string(value) : std::string();
}

void UserUnits::read(const std::string& name, const std::string& path) {
  auto appId = AppIdFromUnitName(name);
  if (!appId) return;
  units_[path] = name;
  AppUnit unit;
  unit.appId = *appId;
  unit.active = Alive(property(path, kUnit, "ActiveState"));
  const std::string freezer = property(path, kUnit, "FreezerState");
  unit.frozen = freezer == "frozen" || freezer == "freezing";
  const char* typeInterface = name.ends_with(".scope") ? "org.freedesktop.systemd1.Scope"
                                                       : "org.freedesktop.systemd1.Service";
  const std::string cgroup = property(path, typeInterface, "ControlGroup");
  if (!cgroup.empty()) {
    std::ifstream procs(cgroupRoot_ + cgroup + "/cgroup.procs");
    if (procs) {
      std::stringstream text;
      text << procs.rdbuf();
      for (int32_t pid : ParseCgroupProcs(text.str())) unit.pids.insert(pid);
      unit.pidsKnown = true;
    }
  }
  changed_(name, unit, cgroup);
}

void UserUnits::refresh() {
  const auto known = units_;
  for (const auto& [path, name] : known) read(name, path);
}

int UserUnits::OnUnitNew(sd_bus_message* message, void* self, sd_bus_error*) {
  const char *name = nullptr, *path = nullptr;
  if (sd_bus_message_read(message, "so", &name, &path) < 0) return 0;
  static_cast<UserUnits*>(self)->read(name, path);
  return 0;
}

int UserUnits::OnUnitRemoved(sd_bus_message* message, void* self, sd_bus_error*) {
  auto* owner = static_cast<UserUnits*>(self);
  const char *name = nullptr, *path = nullptr;
  if (sd_bus_message_read(message, "so", &name, &path) < 0) return 0;
  if (owner->units_.erase(path)) owner->gone_(name);
  return 0;
}

int UserUnits::OnPropertiesChanged(sd_bus_message* message, void* self, sd_bus_error*) {
  auto* owner = static_cast<UserUnits*>(self);
  auto it = owner->units_.find(sd_bus_message_get_path(message));
  if (it == owner->units_.end()) return 0;
  const std::string name = it->second, path = it->first;
  owner->read(name, path);
  return 0;
}

}  // namespace tl::linuxdev
