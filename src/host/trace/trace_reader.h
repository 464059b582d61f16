// TraceReader: reads a device trace line by line, checking each line before it is used.
#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

#include "host/trace/actions.h"
#include "platform/sim/device_state.h"

namespace tl::host {

// Where reading goes on: the byte offset of the next line, the number of the last line read and
// the time of the last action (time never goes back, across daemon processes too).
struct TracePosition {
  int64_t offset = 0;
  int line = 0;
  int64_t lastAtNanoseconds = 0;
};

// One action line, checked and typed.
struct TraceStep {
  int line = 0;  // 1-based line of the trace file
  int64_t atNanoseconds = 0;
  std::string action;
  DeviceAction apply;  // empty for the host's own actions
  // A set that writes the device's files: the one step that can fail midway on a sound device.
  bool writesFiles = false;
};

// The latest "at": ten years of seconds. Every daily timer of the module fires on the way, so a
// longer trace would take minutes of timers that record nothing new.
inline constexpr double kLatestAt = 315360000;

// One non-blank line of a trace, checked on its own: an action, or the device (line 1 only).
struct TraceLine {
  bool isDevice = false;
  TraceStep step;
  sim::DeviceFields device;
};

// What is wrong with text as line number line of a trace, or nullopt with *out holding it.
// Whether time goes back is a question of the lines before; TraceReader asks it.
std::optional<std::string> ParseTraceLine(std::string_view text, int line, TraceLine* out);

// Each line is parsed once, when it is reached; only the line being read is held, so a trace of
// any length is read in the same memory. A bad line is reported as what is wrong with it, with
// position().line its number, and nothing of it is used.
class TraceReader {
 public:
  // Reads path from position from on; readable() tells whether the file could be opened there.
  TraceReader(const std::string& path, const TracePosition& from);
  ~TraceReader();
  TraceReader(const TraceReader&) = delete;
  TraceReader& operator=(const TraceReader&) = delete;

  enum class Next { kStep, kDevice, kEnd, kError };
  // The next line: an action (*step), the device description of line 1 (*device), the end of
  // the trace, or a bad line (*error).
  Next next(TraceStep* step, sim::DeviceFields* device, std::string* error);

  bool readable() const { return file_ != nullptr; }
  // Whether reading stopped on an error of the file rather than at its end (errno says which).
  bool failed() const { return file_ && std::ferror(file_); }
  // Before the line that next() would read.
  const TracePosition& position() const { return position_; }

 private:
  std::FILE* file_;
  TracePosition position_;
  char* buffer_ = nullptr;  // getline's growing buffer, one for the whole trace
  size_t capacity_ = 0;
};

}  // namespace tl::host
