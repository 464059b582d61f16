// Replay: runs the module on the simulated device along a device trace.
#pragma once

#include <string>

namespace tl::host {

struct ReplayOptions {
  std::string trace;
  std::string root;  // the sandbox that stands for the device's "/"; empty: a new one
  std::string db;    // the statistics store; empty: inside the sandbox
  std::string out;   // the output lines; empty: standard output
  bool notifications = false;
};

// Runs the trace, each stretch between restarts in a daemon process of its own: a forked child,
// so that a restart is a real new process whose module starts afresh, while the sandbox's files
// and the device (its state and virtual time) carry on. Each line is read and checked once, when
// its process reaches it; a bad line stops the replay before it with a message naming the line,
// and the result is then 2.
int Replay(const ReplayOptions& options);

}  // namespace tl::host
