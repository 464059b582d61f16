// EventLoop: the Linux device's one loop thread, which owns every descriptor and bus connection.
#pragma once

#include <systemd/sd-event.h>

#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace tl::linuxdev {

// An sd-event loop on a thread of its own. Sources are attached to event() before start() or,
// once the loop runs, from tasks posted to it: sd-event is not thread-safe, so only the loop
// thread touches it then. Loop callbacks never run module code; they post to the module's queues.
class EventLoop {
 public:
  EventLoop();
  ~EventLoop();  // stops the loop thread if it runs
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  sd_event* event() const { return event_; }

  void start();
  // Ends the loop after the tasks posted so far, and joins its thread.
  void stop();
  // Runs task on the loop thread; callable from any thread. Before start() the task waits for it.
  void post(std::function<void()> task);
  bool onLoopThread() const { return std::this_thread::get_id() == thread_.get_id(); }

 private:
  static int OnWake(sd_event_source* source, int fd, uint32_t revents, void* self);
  void runPosted();

  sd_event* event_ = nullptr;
  sd_event_source* wake_ = nullptr;
  int wakeFd_ = -1;
  std::mutex mutex_;
  std::vector<std::function<void()>> posted_;
  std::thread thread_;
};

// Owns one reference of an sd-event source; disables and drops it on destruction (on the loop
// thread).
struct EventSourceDeleter {
  void operator()(sd_event_source* source) const { sd_event_source_disable_unref(source); }
};

}  // namespace tl::linuxdev
