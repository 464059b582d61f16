// CpuUsage: what each application did with the CPU and how long it was on screen, and the CPU
// time of the whole device, as the daemon reads them at each power commit.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace tl::platform {

// One application's use since the device began keeping count, split by whether it was in the
// foreground (on screen) or running in the background.
struct AppUse {
  double foregroundSeconds = 0;  // wall-clock time in the foreground
  double backgroundSeconds = 0;  // wall-clock time running in the background
  double foregroundCpu = 0;      // CPU seconds used while in the foreground
  double backgroundCpu = 0;      // CPU seconds used while in the background
  // How many of its CPU readings failed or went backwards: when it grows between two readings,
  // the application's CPU between them is not known.
  uint64_t unknownCpu = 0;

  friend bool operator==(const AppUse&, const AppUse&) = default;
};

struct CpuUse {
  std::map<std::string, AppUse> apps;  // by application identifier
  // The CPU seconds of the whole device since its own count began (apps included); nullopt
  // when it cannot be read.
  std::optional<double> deviceCpu;
};

// Not a role of the module's: the daemon asks it. Safe to call from any queue.
class CpuUsage {
 public:
  virtual ~CpuUsage() = default;
  virtual CpuUse read() = 0;
};

}  // namespace tl::platform
