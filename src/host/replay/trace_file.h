// The trace file as a whole: can it be read, is every line of it good, and what it holds.
#pragma once

#include <string>

namespace tl::host {

// What a checked trace holds.
struct TraceSummary {
  int actionLines = 0;     // lines with an action
  double lastAt = 0;       // seconds of the last action
  double deviceStart = 0;  // wall-clock seconds at 0 (the device's "start")
  std::string timeZone;    // the device's time zone
  std::string machine;
  std::string systemVersion;  // "NAME VERSION (BUILD)", empty for none
};

// Reads every line of the trace at path and checks it, applying nothing. Throws CommandError:
// "PATH: CAUSE" when the file cannot be read (a directory, missing, unreadable), and
// "PATH:LINE: what is wrong" for the first bad line.
TraceSummary CheckTrace(const std::string& path);

// The SHA-256 of the file's bytes, in hex.
std::string FileSha256(const std::string& path);

}  // namespace tl::host
