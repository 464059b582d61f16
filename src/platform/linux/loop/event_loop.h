// EventLoop: the Linux device's one loop thread, which owns every descriptor and bus connection.
#pragma once

#include <systemd/sd-event.h>

#include <atomic>
#include <cassert>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "base/mutex.h"
#include "base/status.h"
#include "base/thread_annotations.h"

namespace tl::linuxdev {

// An sd-event loop on a thread of its own. Sources are attached to event() before start() or,
// once the loop runs, from tasks posted to it: sd-event is not thread-safe, so only the loop
// thread touches it then. Loop callbacks never run module code; they post to the module's queues.
//
// The loop is also the capability that state owned by the loop thread is guarded by
// (TL_GUARDED_BY(loop_)): a loop callback shows it holds it with assertOnLoopThread().
class TL_CAPABILITY("loop thread") EventLoop {
 public:
  // A loop ready for sources, or why the machine cannot give one (the errno text).
  static Status Create(std::unique_ptr<EventLoop>* loop);
  // Only Create() holds the key: a loop is never left half made.
  class Key {
    friend class EventLoop;
    Key() = default;
  };
  explicit EventLoop(Key) {}
  ~EventLoop();  // stops the loop thread if it runs
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  sd_event* event() const { return event_; }

  void start();
  // Ends the loop after the tasks posted so far, and joins its thread.
  void stop();
  // Runs task on the loop thread; callable from any thread. Before start() the task waits for it.
  void post(std::function<void()> task);
  // Whether the caller may touch what the loop owns: the loop thread while the loop runs, the
  // thread that holds the loop before start() and after stop().
  bool onLoopThread() const { return std::this_thread::get_id() == owner_.load(); }
  // The first line of every loop-only callback: checked at run time in debug builds, and it tells
  // the compiler that what follows runs on the loop thread.
  void assertOnLoopThread() const TL_ASSERT_CAPABILITY(this) { assert(onLoopThread()); }

 private:
  static int OnWake(sd_event_source* source, int fd, uint32_t revents, void* self);
  void runPosted();

  sd_event* event_ = nullptr;
  sd_event_source* wake_ = nullptr;
  int wakeFd_ = -1;
  Mutex mutex_;
  std::vector<std::function<void()>> posted_ TL_GUARDED_BY(mutex_);
  std::atomic<std::thread::id> owner_{std::this_thread::get_id()};
  std::thread thread_;
};

// Owns one reference of an sd-event source; disables and drops it on destruction (on the loop
// thread).
struct EventSourceDeleter {
  void operator()(sd_event_source* source) const { sd_event_source_disable_unref(source); }
};

}  // namespace tl::linuxdev
