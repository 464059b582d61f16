// Run: `tallyd run`, the resident daemon on a real Linux machine.
#pragma once

#include <string>

namespace tl::host {

struct RunOptions {
  std::string db;      // empty: $XDG_STATE_HOME/tallyd/stats.db
  std::string state;   // empty: $XDG_STATE_HOME/tallyd
  std::string config;  // empty: no settings file
};

// Loads the module on the Linux device and stores what it reports until SIGTERM or SIGINT,
// then leaves everything in the store and returns 0. Tells systemd when it is ready. Posts the
// daily-report trigger once a day and takes the module's reports as the daily-report service.
int Run(const RunOptions& options);

// Posts a named notification to the running daemon; 0, or 1 with a message when it cannot.
int Notify(const std::string& name, uint64_t state);

}  // namespace tl::host
