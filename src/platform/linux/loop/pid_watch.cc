// PidWatch: pidfd_open and the descriptor's readiness at the process's exit.
#include "platform/linux/loop/pid_watch.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace tl::linuxdev {

struct PidWatch::Watch {
  PidWatch* owner;
  int32_t pid;
  int fd = -1;
  std::unique_ptr<sd_event_source, EventSourceDeleter> source;
  ~Watch() {
    source.reset();
    if (fd >= 0) ::close(fd);
  }
};

PidWatch::PidWatch(EventLoop& loop, Exited exited) : loop_(loop), exited_(std::move(exited)) {}

PidWatch::~PidWatch() = default;

bool PidWatch::watch(int32_t pid) {
  if (pid <= 0 || watches_.contains(pid)) return true;
  auto watch = std::make_unique<Watch>();
  watch->owner = this;
  watch->pid = pid;
  watch->fd = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
  if (watch->fd < 0) {
    if (errno != ESRCH) return false;
    loop_.post([this, pid] { exited_(pid); });
    return true;
  }
  sd_event_source* source = nullptr;
  if (sd_event_add_io(loop_.event(), &source, watch->fd, EPOLLIN, OnExit, watch.get()) < 0) {
    return false;
  }
  watch->source.reset(source);
  watches_.emplace(pid, std::move(watch));
  return true;
}

void PidWatch::forget(int32_t pid) { watches_.erase(pid); }

int PidWatch::OnExit(sd_event_source*, int, uint32_t, void* data) {
  auto* watch = static_cast<Watch*>(data);
  PidWatch* owner = watch->owner;
  owner->loop_.assertOnLoopThread();
  const int32_t pid = watch->pid;
  owner->watches_.erase(pid);
  owner->exited_(pid);
  return 0;
}

}  // namespace tl::linuxdev
