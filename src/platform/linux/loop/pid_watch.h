// PidWatch: the exits of processes, through process file descriptors on the loop.
#pragma once

#include <functional>
#include <map>
#include <memory>

#include "platform/linux/loop/event_loop.h"

namespace tl::linuxdev {

class PidWatch {
 public:
  using Exited = std::function<void(int32_t pid)>;
  PidWatch(EventLoop& loop, Exited exited);
  ~PidWatch();
  PidWatch(const PidWatch&) = delete;
  PidWatch& operator=(const PidWatch&) = delete;

  // Reports the exit of pid once, on the loop thread. A process already gone is reported on the
  // loop's next turn; watching a watched pid does nothing. false when process descriptors are
  // not available (a kernel before 5.3): then the unit's own state tells of the exit.
  bool watch(int32_t pid);
  void forget(int32_t pid);
  size_t watched() const { return watches_.size(); }

 private:
  struct Watch;
  static int OnExit(sd_event_source* source, int fd, uint32_t revents, void* data);

  EventLoop& loop_;
  Exited exited_;
  std::map<int32_t, std::unique_ptr<Watch>> watches_;
};

}  // namespace tl::linuxdev
