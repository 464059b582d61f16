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
  bool append = false;  // a store or sandbox that holds an earlier replay may be added to
};

// Checks the whole trace first: a bad line anywhere stops the replay before anything runs or is
// stored (CommandError "TRACE:LINE: what"). Then runs it, each stretch between restarts in a
// daemon process of its own: a forked child, so that a restart is a real new process whose
// module starts afresh, while the sandbox's files and the device (its state and virtual time)
// carry on. The store gets the trace's meta values and a timeline of the power notifications
// and daemon starts. Returns the exit status; prints a one-line summary on standard error.
int Replay(const ReplayOptions& options);

}  // namespace tl::host
