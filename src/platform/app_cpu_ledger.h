// AppCpuLedger: books each application's CPU time and wall-clock time to the foreground or the
// background, from its run states and what its CPU counters gained.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "platform/cpu_usage.h"

namespace tl::platform {

// The run-state codes that mean on screen: running in the foreground, obscured or not.
bool IsForegroundState(uint32_t state);
// The codes that mean running without being on screen (suspended tasks, process servers and
// background running).
bool IsBackgroundState(uint32_t state);

// What a cumulative counter gained since its last reading: 0 at the first, nullopt when it went
// backwards (a process or cgroup made anew under the same name), which starts it again there.
std::optional<double> CounterGain(std::optional<double>& last, double reading);

// CPU is booked to the state the application was in when the gain was read, so a device reads
// an application's counters just before it reports a new state. Not thread-safe: its owner
// serialises.
class AppCpuLedger {
 public:
  // app's run state from at on (seconds on any clock that only moves forward).
  void state(const std::string& app, uint32_t state, double at);
  // app used seconds of CPU since its last gain; read at at.
  void addCpu(const std::string& app, double seconds, double at);
  // Whether app is running, in the foreground or the background.
  bool running(const std::string& app) const;
  // A reading of app's CPU failed at at: its CPU since the last reading is not known.
  void unknownCpu(const std::string& app, double at);
  // What each application did since the last call, up to at, into *apps (reusing its storage):
  // those that were in the foreground, used CPU or could not be read. Walks every application
  // but allocates only for one it has not seen before.
  void take(double at, std::vector<AppUse>* apps);

 private:
  struct App {
    AppUse use;  // since the last take
    uint32_t state = 0;
    uint32_t lastRunning = 0;  // the last state it ran in
    double since = 0;          // when the time in state was last booked
  };
  // Adds the time since app last booked it to its state.
  static void bookTime(App& app, double at);

  std::map<std::string, App> apps_;
};

}  // namespace tl::platform
