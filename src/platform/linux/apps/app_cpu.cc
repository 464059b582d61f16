// AppCpu: choosing each application's sources and reading them.
#include "platform/linux/apps/app_cpu.h"

#include <unistd.h>

#include "platform/linux/apps/app_ids.h"
#include "platform/linux/apps/cpu_counters.h"
#include "platform/linux/loop/text_file.h"

namespace tl::linuxdev {

namespace {

constexpr std::string_view kCgroup = "cgroup:";
constexpr std::string_view kPid = "pid:";

// A login session's scope holds the whole session: never one application's.
bool IsSessionScope(const std::string& cgroup) {
  const std::string leaf = cgroup.substr(cgroup.rfind('/') + 1);
  return leaf.starts_with("session-") && leaf.ends_with(".scope");
}

// The source that counts a window's process: its cgroup, unless that is no application's own
// (the root, a session) or other applications count it too; else the process itself.
std::string PidSource(int32_t pid, const std::optional<std::string>& cgroup,
                      const std::map<std::string, int>& cgroupUsers) {
  if (cgroup && !cgroup->empty() && *cgroup != "/" && !IsSessionScope(*cgroup)) {
    auto it = cgroupUsers.find(*cgroup);
    if (it == cgroupUsers.end() || it->second == 1) return std::string(kCgroup) + *cgroup;
  }
  return std::string(kPid) + std::to_string(pid);
}

}  // namespace

AppCpu::AppCpu(std::string cgroupRoot, std::string procRoot, std::function<double()> now,
               std::function<void(std::string_view)> log)
    : cgroupRoot_(std::move(cgroupRoot)),
      procRoot_(std::move(procRoot)),
      ticksPerSecond_(sysconf(_SC_CLK_TCK)),
      now_(std::move(now)),
      log_(std::move(log)) {}

void AppCpu::update(const std::map<std::string, CpuSources>& sources,
                    const std::vector<AppStateChange>& changes) {
  // How many applications each cgroup would count them in, units' and windows' alike.
  std::map<std::string, int> cgroupUsers;
  std::map<int32_t, std::optional<std::string>> cgroupOfPid;
  for (const auto& [app, found] : sources) {
    for (const std::string& cgroup : found.cgroups) ++cgroupUsers[cgroup];
    std::set<std::string> seen;
    for (int32_t pid : found.pids) {
      auto cgroup = CgroupPath(ReadText(procRoot_ + "/" + std::to_string(pid) + "/cgroup"));
      cgroupOfPid[pid] = cgroup;
      if (cgroup && seen.insert(*cgroup).second) ++cgroupUsers[*cgroup];
    }
  }
  std::map<std::string, std::set<std::string>> next;
  std::set<std::string> unitSources;
  for (const auto& [app, found] : sources) {
    std::set<std::string>& names = next[app];
    for (const std::string& cgroup : found.cgroups) {
      names.insert(std::string(kCgroup) + cgroup);
      unitSources.insert(std::string(kCgroup) + cgroup);
    }
    for (int32_t pid : found.pids) names.insert(PidSource(pid, cgroupOfPid[pid], cgroupUsers));
  }

  const double now = now_();
  underLock([&]() TL_REQUIRES(mutex_) {
    // A source no application names any more is gone with its counter.
    std::set<std::string> live;
    for (const auto& [app, names] : next) live.insert(names.begin(), names.end());
    std::erase_if(counters_, [&](const auto& entry) { return !live.contains(entry.first); });
    sources_ = std::move(next);
    // A source seen for the first time starts its count: a new unit's from 0, anything else's
    // from now.
    std::set<std::string> changed;
    for (const AppStateChange& change : changes) changed.insert(change.appId);
    for (const auto& [app, names] : sources_) {
      bool added = false;
      for (const std::string& source : names) {
        if (counters_.contains(source)) continue;
        added = true;
        if (started_ && unitSources.contains(source)) counters_[source] = 0.0;
      }
      // A changed app is read with its change below.
      if (added && !changed.contains(app)) readApp(app, now);
    }
    for (const AppStateChange& change : changes) {
      // What a running app used belongs to the state it leaves; what one just started used
      // (its new unit's count) to the state it starts in.
      if (ledger_.running(change.appId)) readApp(change.appId, now);
      ledger_.state(change.appId, change.state, now);
      readApp(change.appId, now);
    }
  });
}

void AppCpu::startedUp() {
  MutexLock lock(mutex_);
  started_ = true;
}

std::optional<double> AppCpu::readSource(const std::string& source) {
  std::string path;
  if (source.starts_with(kCgroup)) {
    path = cgroupRoot_ + source.substr(kCgroup.size()) + "/cpu.stat";
  } else {
    path = procRoot_ + "/" + source.substr(kPid.size()) + "/stat";
  }
  std::string text;
  if (Status status = ReadText(path, &text); !status.ok()) {
    fault(source, path + ": " + status.message());
    return std::nullopt;
  }
  const std::optional<double> seconds = source.starts_with(kCgroup)
                                            ? CgroupCpuSeconds(text)
                                            : ProcessCpuSeconds(text, ticksPerSecond_);
  if (!seconds) fault(source, path + ": no CPU time in it");
  return seconds;
}

void AppCpu::readApp(const std::string& app, double now) {
  auto it = sources_.find(app);
  if (it == sources_.end()) return;
  double gained = 0;
  bool known = true;
  for (const std::string& source : it->second) {
    const std::optional<double> seconds = readSource(source);
    if (!seconds) {
      known = false;
      continue;
    }
    std::optional<double>& last = counters_[source];
    const std::optional<double> before = last;
    if (const std::optional<double> gain = platform::CounterGain(last, *seconds)) {
      gained += *gain;
      faulty_.erase(source);
    } else {
      known = false;
      fault(source, "CPU time went back from " + std::to_string(*before) + " s to " +
                        std::to_string(*seconds) + " s (made anew)");
    }
  }
  if (gained > 0) ledger_.addCpu(app, gained, now);
  if (!known) ledger_.unknownCpu(app, now);
}

void AppCpu::fault(const std::string& source, const std::string& why) {
  if (faulty_.insert(source).second) {
    lines_.push_back("cpu: " + why + "; its application's CPU until the next reading is not known");
  }
}

void AppCpu::refresh() {
  const double now = now_();
  underLock([&]() TL_REQUIRES(mutex_) {
    for (const auto& [app, names] : sources_) readApp(app, now);
  });
}

void AppCpu::read(platform::CpuUse* use) {
  const double now = now_();
  std::string stat;
  const Status read = ReadText(procRoot_ + "/stat", &stat);
  use->deviceCpu = read.ok() ? DeviceCpuSeconds(stat, ticksPerSecond_) : std::nullopt;
  underLock([&]() TL_REQUIRES(mutex_) {
    for (const auto& [app, names] : sources_) readApp(app, now);
    ledger_.take(now, &use->apps);
    if (!use->deviceCpu && faulty_.insert("device").second) {
      lines_.push_back("cpu: " + procRoot_ +
                       "/stat: " + (read.ok() ? "no cpu line" : read.message()) +
                       "; the CPU used outside applications is not known");
    } else if (use->deviceCpu) {
      faulty_.erase("device");
    }
  });
}

}  // namespace tl::linuxdev
