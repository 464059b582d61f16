// AppCpu: each application's CPU time on Linux, from the cgroup v2 cpu.stat of its units (or
// the processes of its windows), booked to its foreground or background, and the device's.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "base/mutex.h"
#include "platform/app_cpu_ledger.h"
#include "platform/cpu_usage.h"
#include "platform/linux/apps/app_run_states.h"

namespace tl::linuxdev {

// No root needed: a user's cgroups and processes are readable by the user. Counters are read
// only when an application changes state and when the daemon asks, never on a timer. A window's
// process that shares its cgroup with others (a login session's scope, another application's
// window) is counted by its own CPU time instead, so that no CPU is counted for two
// applications. A unit found once the daemon has started is new: its cgroup's whole count is its
// application's; what ran before the daemon counts from the daemon's start, as does a window's
// process (which may be older than its window). CPU used between the last reading and the moment
// a unit or window goes away is not counted: its counter is gone.
class AppCpu : public platform::CpuUsage {
 public:
  // cgroupRoot is where the unified hierarchy is mounted; now gives monotonic seconds; log
  // takes one line a fault, never while a lock of this object is held (the log's writer may be
  // the daemon reading the CPU).
  AppCpu(std::string cgroupRoot, std::string procRoot, std::function<double()> now,
         std::function<void(std::string_view)> log);

  // Every application's sources as they are now, and the states that changed: what each
  // changed application used until now is booked to the state it leaves. On the loop thread.
  void update(const std::map<std::string, CpuSources>& sources,
              const std::vector<AppStateChange>& changes);

  // What the sources were at the daemon's start is known: units found later are new.
  void startedUp();

  void read(platform::CpuUse* use) override;
  void refresh() override;

 private:
  // Reads every source of app and books what they gained.
  void readApp(const std::string& app, double now) TL_REQUIRES(mutex_);
  // A source's counter in seconds, or nullopt after logging why it could not be read.
  std::optional<double> readSource(const std::string& source) TL_REQUIRES(mutex_);
  void fault(const std::string& source, const std::string& why) TL_REQUIRES(mutex_);
  // Runs work under the lock, then logs what it found outside it: the log's writer may be the
  // daemon reading the CPU for a commit.
  template <class F>
  void underLock(F work) TL_EXCLUDES(mutex_) {
    std::vector<std::string> lines;
    {
      MutexLock lock(mutex_);
      work();
      lines.swap(lines_);
    }
    for (const std::string& line : lines) log_(line);
  }

  const std::string cgroupRoot_;
  const std::string procRoot_;
  const long ticksPerSecond_;
  std::function<double()> now_;
  std::function<void(std::string_view)> log_;

  Mutex mutex_;
  platform::AppCpuLedger ledger_ TL_GUARDED_BY(mutex_);
  // Each application's sources: "cgroup:PATH" or "pid:PID".
  std::map<std::string, std::set<std::string>> sources_ TL_GUARDED_BY(mutex_);
  std::map<std::string, std::optional<double>> counters_ TL_GUARDED_BY(mutex_);
  std::set<std::string> faulty_ TL_GUARDED_BY(mutex_);    // said once until they read again
  std::vector<std::string> lines_ TL_GUARDED_BY(mutex_);  // to log once the lock is released
  bool started_ TL_GUARDED_BY(mutex_) = false;
};

}  // namespace tl::linuxdev
