// AppRunStates: deriving each application's state and reporting only its changes.
#include "platform/linux/apps/app_run_states.h"

#include <algorithm>

namespace tl::linuxdev {

platform::Dictionary StateInfo(const AppStateChange& change) {
  platform::Dictionary info{{"bundle", change.appId}, {"state", change.state}};
  if (change.pid > 0) info.emplace("pid", change.pid);
  return info;
}

namespace {

bool Live(const AppUnit& unit) { return unit.active && (!unit.pidsKnown || !unit.pids.empty()); }

}  // namespace

AppStateChange AppRunStates::derive(const std::string& appId) const {
  AppStateChange change{appId, -1, kStateTerminated};
  bool activated = false, window = false, running = false, frozen = false;
  // The lowest pid of a unit is its first process, the one a launcher started; a toplevel's pid
  // stands in where no unit is known.
  int32_t toplevelPid = -1;
  for (const auto& [handle, toplevel] : toplevels_) {
    if (toplevel.appId != appId) continue;
    window = true;
    activated = activated || toplevel.activated;
    if (toplevel.pid > 0 && toplevelPid < 0) toplevelPid = toplevel.pid;
  }
  for (const auto& [name, unit] : units_) {
    if (unit.appId != appId || !Live(unit)) continue;
    (unit.frozen ? frozen : running) = true;
    if (!unit.pids.empty() && (change.pid < 0 || *unit.pids.begin() < change.pid)) {
      change.pid = *unit.pids.begin();
    }
  }
  if (change.pid < 0) change.pid = toplevelPid;
  if (activated) {
    change.state = kStateForegroundRunning;
  } else if (window || running) {
    change.state = kStateBackgroundRunning;
  } else if (frozen) {
    change.state = kStateBackgroundTaskSuspended;
  } else {
    change.pid = -1;
  }
  return change;
}

std::vector<AppStateChange> AppRunStates::settle(std::set<std::string> appIds) {
  std::vector<AppStateChange> changes;
  for (const std::string& appId : appIds) {
    if (appId.empty()) continue;
    AppStateChange now = derive(appId);
    auto it = reported_.find(appId);
    const uint32_t before = it == reported_.end() ? kStateTerminated : it->second.state;
    if (now.state == before) {
      // A pid learnt later is kept for the next report, without a report of its own.
      if (it != reported_.end()) it->second.pid = now.pid;
      continue;
    }
    if (now.state == kStateTerminated) {
      now.pid = it->second.pid;
      reported_.erase(it);
    } else {
      reported_[appId] = now;
    }
    changes.push_back(std::move(now));
  }
  return changes;
}

void AppRunStates::apply(const ToplevelChange& change, std::set<std::string>& affected) {
  auto it = toplevels_.find(change.handle);
  if (it != toplevels_.end()) {
    affected.insert(it->second.appId);
    if (!change.toplevel) {
      toplevels_.erase(it);
      return;
    }
    it->second = *change.toplevel;
  } else if (change.toplevel) {
    toplevels_.emplace(change.handle, *change.toplevel);
  }
  if (change.toplevel) affected.insert(change.toplevel->appId);
}

std::vector<AppStateChange> AppRunStates::toplevels(const std::vector<ToplevelChange>& batch) {
  std::set<std::string> affected;
  for (const ToplevelChange& change : batch) apply(change, affected);
  return settle(std::move(affected));
}

std::vector<AppStateChange> AppRunStates::toplevel(uint64_t handle, Toplevel toplevel) {
  return toplevels({{handle, std::move(toplevel)}});
}

std::vector<AppStateChange> AppRunStates::toplevelClosed(uint64_t handle) {
  return toplevels({{handle, std::nullopt}});
}

std::vector<AppStateChange> AppRunStates::toplevelsGone() {
  std::set<std::string> affected;
  for (const auto& [handle, toplevel] : toplevels_) affected.insert(toplevel.appId);
  toplevels_.clear();
  return settle(std::move(affected));
}

std::vector<AppStateChange> AppRunStates::unit(const std::string& name, AppUnit unit,
                                               std::string cgroup) {
  std::set<std::string> affected{unit.appId};
  cgroups_[name] = std::move(cgroup);
  auto [it, added] = units_.try_emplace(name, unit);
  if (!added) {
    affected.insert(it->second.appId);
    it->second = std::move(unit);
  }
  return settle(std::move(affected));
}

std::vector<AppStateChange> AppRunStates::unitGone(const std::string& name) {
  auto it = units_.find(name);
  if (it == units_.end()) return {};
  std::set<std::string> affected{it->second.appId};
  units_.erase(it);
  cgroups_.erase(name);
  return settle(std::move(affected));
}

std::vector<AppStateChange> AppRunStates::processExited(int32_t pid) {
  std::set<std::string> affected;
  for (auto& [name, unit] : units_) {
    if (unit.pids.erase(pid)) affected.insert(unit.appId);
  }
  for (auto& [handle, toplevel] : toplevels_) {
    if (toplevel.pid == pid) affected.insert(toplevel.appId);
  }
  return settle(std::move(affected));
}

std::vector<AppStateChange> AppRunStates::running() const {
  std::vector<AppStateChange> all;
  for (const auto& [appId, change] : reported_) all.push_back(change);
  return all;
}

std::map<std::string, CpuSources> AppRunStates::cpuSources() const {
  std::map<std::string, CpuSources> sources;
  for (const auto& [appId, change] : reported_) {
    if (change.state != kStateTerminated) sources[appId];
  }
  for (const auto& [name, unit] : units_) {
    auto it = sources.find(unit.appId);
    if (it == sources.end() || !Live(unit)) continue;
    auto cgroup = cgroups_.find(name);
    if (cgroup != cgroups_.end() && !cgroup->second.empty()) {
      it->second.cgroups.insert(cgroup->second);
    } else {
      // A sandbox found by its process alone: counted by that process.
      it->second.pids.insert(unit.pids.begin(), unit.pids.end());
    }
  }
  for (const auto& [handle, toplevel] : toplevels_) {
    auto it = sources.find(toplevel.appId);
    if (it != sources.end() && it->second.cgroups.empty() && toplevel.pid > 0) {
      it->second.pids.insert(toplevel.pid);
    }
  }
  return sources;
}

}  // namespace tl::linuxdev
