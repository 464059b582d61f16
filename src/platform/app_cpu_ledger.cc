// AppCpuLedger: booking time and CPU to the foreground or the background.
#include "platform/app_cpu_ledger.h"

#include <algorithm>

namespace tl::platform {

bool IsForegroundState(uint32_t state) { return state == 8 || state == 32; }

bool IsBackgroundState(uint32_t state) { return state == 2 || state == 4 || state == 16; }

std::optional<double> CounterGain(std::optional<double>& last, double reading) {
  std::optional<double> gain = 0.0;
  if (last && reading < *last) {
    gain.reset();
  } else if (last) {
    gain = reading - *last;
  }
  last = reading;
  return gain;
}

void AppCpuLedger::bookTime(App& app, double at) {
  if (at > app.since) {
    if (IsForegroundState(app.state)) app.use.foregroundSeconds += at - app.since;
    if (IsBackgroundState(app.state)) app.use.backgroundSeconds += at - app.since;
  }
  app.since = std::max(app.since, at);
}

void AppCpuLedger::state(const std::string& app, uint32_t state, double at) {
  App& entry = apps_[app];
  bookTime(entry, at);
  if (IsForegroundState(entry.state) || IsBackgroundState(entry.state)) {
    entry.lastRunning = entry.state;
  }
  entry.state = state;
}

void AppCpuLedger::addCpu(const std::string& app, double seconds, double at) {
  App& entry = apps_[app];
  bookTime(entry, at);
  // A gain read once it stopped running (its last process exited) was used while it ran.
  const bool running = IsForegroundState(entry.state) || IsBackgroundState(entry.state);
  if (IsForegroundState(running ? entry.state : entry.lastRunning)) {
    entry.use.foregroundCpu += seconds;
  } else {
    entry.use.backgroundCpu += seconds;
  }
}

bool AppCpuLedger::running(const std::string& app) const {
  auto it = apps_.find(app);
  return it != apps_.end() &&
         (IsForegroundState(it->second.state) || IsBackgroundState(it->second.state));
}

void AppCpuLedger::unknownCpu(const std::string& app, double at) {
  App& entry = apps_[app];
  bookTime(entry, at);
  entry.use.cpuUnknown = true;
}

void AppCpuLedger::take(double at, std::vector<AppUse>* apps) {
  size_t count = 0;
  for (auto& [name, app] : apps_) {
    bookTime(app, at);
    AppUse& use = app.use;
    if (use.foregroundSeconds == 0 && use.foregroundCpu == 0 && use.backgroundCpu == 0 &&
        !use.cpuUnknown) {
      use.backgroundSeconds = 0;  // idle in the background: nothing to tell
      continue;
    }
    if (apps->size() <= count) apps->emplace_back();
    AppUse& out = (*apps)[count++];
    out.app.assign(name);  // the storage of an earlier reading is reused
    out.foregroundSeconds = use.foregroundSeconds;
    out.backgroundSeconds = use.backgroundSeconds;
    out.foregroundCpu = use.foregroundCpu;
    out.backgroundCpu = use.backgroundCpu;
    out.cpuUnknown = use.cpuUnknown;
    use = AppUse();
  }
  apps->resize(count);
}

}  // namespace tl::platform
