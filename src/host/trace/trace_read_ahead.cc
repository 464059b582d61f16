// TraceReadAhead: the reading thread and the hand-over of its batches.
#include "host/trace/trace_read_ahead.h"

#include <pthread.h>

namespace tl::host {

namespace {
bool Last(TraceReader::Next next) {
  return next == TraceReader::Next::kEnd || next == TraceReader::Next::kError;
}
}  // namespace

TraceReadAhead::TraceReadAhead(const std::string& path, const TracePosition& from)
    : reader_(path, from), readable_(reader_.readable()), position_(from) {
  if (readable_) thread_ = std::thread([this] { readAll(); });
}

TraceReadAhead::~TraceReadAhead() {
  {
    MutexLock lock(mutex_);
    stopping_ = true;
  }
  changed_.notifyAll();
  if (thread_.joinable()) thread_.join();
}

void TraceReadAhead::readAll() {
  // Named, so that a profile or a debugger tells it from the device's thread.
  ::pthread_setname_np(::pthread_self(), "tallyd-trace");
  try {
    read();
  } catch (...) {
    // Thrown where the replay asks for the next line, as a reader in its own thread would.
    MutexLock lock(mutex_);
    failure_ = std::current_exception();
    changed_.notifyAll();
  }
}

void TraceReadAhead::read() {
  while (true) {
    Batch batch;
    batch.reserve(kLinesPerBatch);
    bool last = false;
    while (!last && batch.size() < kLinesPerBatch) {
      Line& line = batch.emplace_back();
      line.next = reader_.next(&line.step, &line.device, &line.error);
      line.position = reader_.position();
      last = Last(line.next);
    }
    MutexLock lock(mutex_);
    while (!stopping_ && ready_.size() >= kBatchesAhead) changed_.wait(mutex_);
    if (stopping_) return;
    ready_.push_back(std::move(batch));
    changed_.notifyAll();
    if (last) return;
  }
}

TraceReader::Next TraceReadAhead::next(TraceStep* step, sim::DeviceFields* device,
                                       std::string* error) {
  if (!readable_) return TraceReader::Next::kEnd;
  if (taken_ == current_.size()) {
    if (!current_.empty() && Last(current_.back().next)) {
      --taken_;  // the end or the error, again
    } else {
      MutexLock lock(mutex_);
      while (ready_.empty() && !failure_) changed_.wait(mutex_);
      if (ready_.empty()) std::rethrow_exception(failure_);
      current_ = std::move(ready_.front());
      ready_.pop_front();
      taken_ = 0;
      changed_.notifyAll();
    }
  }
  Line& line = current_[taken_++];
  position_ = line.position;
  switch (line.next) {
    case TraceReader::Next::kStep:
      *step = std::move(line.step);
      break;
    case TraceReader::Next::kDevice:
      *device = std::move(line.device);
      break;
    case TraceReader::Next::kError:
      *error = line.error;  // kept: asked again, it is given again
      break;
    case TraceReader::Next::kEnd:
      break;
  }
  return line.next;
}

}  // namespace tl::host
