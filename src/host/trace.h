// The device trace: JSON Lines of a device description and timed actions.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/sim/device_data.h"

namespace tl::host {

using sim::Json;

struct TraceStep {
  int line = 0;  // 1-based line of the trace file
  int64_t atNanoseconds = 0;
  std::string action;
  Json value;
};

struct Trace {
  Json device = Json::object();
  std::vector<TraceStep> steps;
  // The first bad line, as "line N: what is wrong"; steps holds every line before it.
  std::optional<std::string> error;
  bool unreadable = false;  // the file itself could not be read
};

// Reads and checks the whole trace: syntax, known actions and their values, and time that never
// goes back. Nothing of a bad line is kept.
Trace ReadTrace(const std::string& path);

}  // namespace tl::host
