// Replay: runs the module on the simulated device along a device trace.
#pragma once

#include <cstddef>
#include <string>

namespace tl::host {

struct ReplayOptions {
  std::string trace;
  std::string root;  // the sandbox that stands for the device's "/"; empty: a new one
  std::string db;    // the statistics store; empty: inside the sandbox
  std::string out;   // the output lines; empty: standard output
  bool notifications = false;
};

// Checks the whole trace, then runs it. Each stretch between restarts runs in a process of its
// own, so that a restart is a real new process: the module's process-wide state starts afresh
// while the sandbox's files and the device (its data and virtual time) carry on. A bad line stops
// the replay before it with a message naming the line; the result is then 2.
int Replay(const ReplayOptions& options);

// One stretch of steps [from, to) in this process; the device comes from the trace or, with
// resume, from the state file, and goes back into the state file at the end.
struct SegmentOptions {
  ReplayOptions replay;
  size_t from = 0;
  size_t to = 0;
  std::string state;
  bool resume = false;
  bool last = false;
};
int RunSegment(const SegmentOptions& options);

}  // namespace tl::host
