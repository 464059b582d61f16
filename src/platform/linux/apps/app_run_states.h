// AppRunStates: the run state of every application, derived from the compositor's toplevels, the
// user manager's application units and the exits of their processes.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/linux/windows/toplevel_events.h"
#include "platform/value.h"

namespace tl::linuxdev {

// The run-state codes the Linux device reports.
inline constexpr uint32_t kStateTerminated = 1;
inline constexpr uint32_t kStateBackgroundTaskSuspended = 2;
inline constexpr uint32_t kStateBackgroundRunning = 4;
inline constexpr uint32_t kStateForegroundRunning = 8;

// One application's new state; pid is -1 when no process of it is known.
struct AppStateChange {
  std::string appId;
  int32_t pid = -1;
  uint32_t state = kStateTerminated;
  friend bool operator==(const AppStateChange&, const AppStateChange&) = default;
};

// The monitor's dictionary of a change: its bundle, state and, when known, pid.
platform::Dictionary StateInfo(const AppStateChange& change);

// An application unit of the user manager (an app-… scope or service).
struct AppUnit {
  std::string appId;
  bool active = false;     // its processes run (active, activating, reloading, deactivating)
  bool frozen = false;     // the manager froze it (freezing or frozen)
  bool pidsKnown = false;  // its cgroup could be read
  std::set<int32_t> pids;
};

// Where an application's CPU is counted: the control groups of its live units, else the
// processes of its windows.
struct CpuSources {
  std::set<std::string> cgroups;
  std::set<int32_t> pids;
  friend bool operator==(const CpuSources&, const CpuSources&) = default;
};

// A toplevel's change within a batch of the compositor's events; no toplevel: it closed.
struct ToplevelChange {
  uint64_t handle = 0;
  std::optional<Toplevel> toplevel;
};

// A pure state machine: each input updates what is known and returns the applications whose
// state changed, in the order of their identifiers. An application is foreground running while
// one of its toplevels is activated; otherwise background running while a toplevel or a live
// unit of it exists; background task suspended when all its live units are frozen and it has no
// toplevel; terminated when nothing of it is left. The same state is never reported twice in a
// row, since a repeated report would restart the module's interval.
class AppRunStates {
 public:
  std::vector<AppStateChange> toplevel(uint64_t handle, Toplevel toplevel);
  std::vector<AppStateChange> toplevelClosed(uint64_t handle);
  // A batch of changes the compositor sent together, settled once: a focus that moves between
  // two windows of one application arrives as two changes, and the application never left the
  // foreground.
  std::vector<AppStateChange> toplevels(const std::vector<ToplevelChange>& batch);
  // The compositor went away: every toplevel is closed.
  std::vector<AppStateChange> toplevelsGone();
  // cgroup is the unit's control group below the cgroup root ("/user.slice/…"), if known.
  std::vector<AppStateChange> unit(const std::string& name, AppUnit unit, std::string cgroup = {});
  std::vector<AppStateChange> unitGone(const std::string& name);
  std::vector<AppStateChange> processExited(int32_t pid);

  // The applications last reported as not terminated, with their states.
  std::vector<AppStateChange> running() const;
  // The CPU sources of every application not terminated.
  std::map<std::string, CpuSources> cpuSources() const;

 private:
  AppStateChange derive(const std::string& appId) const;
  std::vector<AppStateChange> settle(std::set<std::string> appIds);
  // Records one change and adds the applications it touches to affected.
  void apply(const ToplevelChange& change, std::set<std::string>& affected);

  std::map<uint64_t, Toplevel> toplevels_;
  std::map<std::string, AppUnit> units_;
  std::map<std::string, std::string> cgroups_;  // of the units, by name
  std::map<std::string, AppStateChange> reported_;
};

}  // namespace tl::linuxdev
