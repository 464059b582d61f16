// TraceReadAhead: a trace read and checked on a thread of its own, a few hundred lines ahead of
// the replay that uses them.
#pragma once

#include <deque>
#include <exception>
#include <string>
#include <thread>
#include <vector>

#include "base/mutex.h"
#include "host/trace/trace_reader.h"

namespace tl::host {

// Gives the same lines, answers and positions as a TraceReader from the same place, in the same
// order; only the parsing happens meanwhile, on a second core, while the device runs the lines
// before. At most kBatchesAhead batches of kLinesPerBatch lines wait, so a trace of any length is
// read in the same memory.
class TraceReadAhead {
 public:
  static constexpr size_t kLinesPerBatch = 256;
  static constexpr size_t kBatchesAhead = 4;

  TraceReadAhead(const std::string& path, const TracePosition& from);
  // Stops the reading thread, wherever it is.
  ~TraceReadAhead();
  TraceReadAhead(const TraceReadAhead&) = delete;
  TraceReadAhead& operator=(const TraceReadAhead&) = delete;

  bool readable() const { return readable_; }
  // As TraceReader::next; after the end or an error, that answer again.
  TraceReader::Next next(TraceStep* step, sim::DeviceFields* device, std::string* error);
  // After the last line that next() gave.
  const TracePosition& position() const { return position_; }

 private:
  struct Line {
    TraceReader::Next next = TraceReader::Next::kEnd;
    TraceStep step;
    sim::DeviceFields device;
    std::string error;
    TracePosition position;  // the reader's, after this line
  };
  using Batch = std::vector<Line>;

  void readAll();
  void read();

  TraceReader reader_;  // the reading thread's alone
  const bool readable_;
  TracePosition position_;
  Batch current_;  // the batch being handed out
  size_t taken_ = 0;

  Mutex mutex_;
  CondVar changed_;
  std::deque<Batch> ready_ TL_GUARDED_BY(mutex_);
  std::exception_ptr failure_ TL_GUARDED_BY(mutex_);  // what the reading thread threw
  bool stopping_ TL_GUARDED_BY(mutex_) = false;
  std::thread thread_;  // last, so that it starts after the rest is made
};

}  // namespace tl::host
