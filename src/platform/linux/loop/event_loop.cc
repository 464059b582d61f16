// EventLoop: the loop thread and the eventfd through which other threads hand it work.
#include "platform/linux/loop/event_loop.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>

namespace tl::linuxdev {

Status EventLoop::Create(std::unique_ptr<EventLoop>* loop) {
  auto made = std::make_unique<EventLoop>(Key());
  if (const int r = sd_event_new(&made->event_); r < 0) return Status::FromErrno(-r);
  made->wakeFd_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (made->wakeFd_ < 0) return Status::FromErrno(errno);
  const int r =
      sd_event_add_io(made->event_, &made->wake_, made->wakeFd_, EPOLLIN, OnWake, made.get());
  if (r < 0) return Status::FromErrno(-r);
  *loop = std::move(made);
  return Status::OK();
}

EventLoop::~EventLoop() {
  stop();
  runPosted();  // tasks posted after the end still release what they hold
  sd_event_source_disable_unref(wake_);
  sd_event_unref(event_);
  if (wakeFd_ >= 0) ::close(wakeFd_);
}

void EventLoop::start() {
  thread_ = std::thread([this] {
    owner_ = std::this_thread::get_id();
    sd_event_loop(event_);
  });
}

void EventLoop::stop() {
  if (!thread_.joinable()) return;
  post([this] { sd_event_exit(event_, 0); });
  thread_.join();
  owner_ = std::this_thread::get_id();
}

void EventLoop::post(std::function<void()> task) {
  {
    MutexLock lock(mutex_);
    posted_.push_back(std::move(task));
  }
  const uint64_t one = 1;
  [[maybe_unused]] ssize_t n = ::write(wakeFd_, &one, sizeof one);
}

int EventLoop::OnWake(sd_event_source*, int fd, uint32_t, void* self) {
  uint64_t count;
  [[maybe_unused]] ssize_t n = ::read(fd, &count, sizeof count);
  auto& loop = *static_cast<EventLoop*>(self);
  loop.assertOnLoopThread();
  loop.runPosted();
  return 0;
}

void EventLoop::runPosted() {
  std::vector<std::function<void()>> tasks;
  {
    MutexLock lock(mutex_);
    tasks.swap(posted_);
  }
  for (auto& task : tasks) task();
}

}  // namespace tl::linuxdev
