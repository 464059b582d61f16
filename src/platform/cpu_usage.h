// CpuUsage: what each application did with the CPU and how long it was on screen, and the CPU
// time of the whole device, as the daemon reads them at each power commit.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tl::platform {

// What one application did since the last reading, split by whether it was in the foreground
// (on screen) or running in the background.
struct AppUse {
  std::string app;               // its identifier
  double foregroundSeconds = 0;  // wall-clock time in the foreground
  double backgroundSeconds = 0;  // wall-clock time running in the background
  double foregroundCpu = 0;      // CPU seconds used while in the foreground
  double backgroundCpu = 0;      // CPU seconds used while in the background
  // A reading of its CPU failed or went backwards: its CPU since the last reading is not known.
  bool cpuUnknown = false;

  friend bool operator==(const AppUse&, const AppUse&) = default;
};

struct CpuUse {
  // The applications that were in the foreground, used CPU or could not be read, by identifier.
  std::vector<AppUse> apps;
  // The CPU seconds of the whole device (apps included); nullopt when it cannot be read.
  std::optional<double> deviceCpu;
};

// Not a role of the module's: the daemon asks it, one reader at a time. Safe to call from any
// queue.
class CpuUsage {
 public:
  virtual ~CpuUsage() = default;
  // What each application did since the last reading (since the device began counting, the
  // first time), into *use, whose storage is reused; the device's CPU is cumulative.
  virtual void read(CpuUse* use) = 0;
  // Reads the counters now, keeping what they gained for the next reading: at moments the
  // daemon is awake anyway, so that a counter that goes away before the next reading has lost
  // less. Nothing to do for a device whose counters are never lost.
  virtual void refresh() {}
};

}  // namespace tl::platform
