// EventLoop: the loop thread and the eventfd through which other threads hand it work.
#include "platform/linux/loop/event_loop.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <stdexcept>

namespace tl::linuxdev {

EventLoop::EventLoop() {
  if (sd_event_new(&event_) < 0) throw std::runtime_error("cannot create the event loop");
  wakeFd_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (wakeFd_ < 0 || sd_event_add_io(event_, &wake_, wakeFd_, EPOLLIN, OnWake, this) < 0) {
    throw std::runtime_error("cannot create the event loop");
  }
}

EventLoop::~EventLoop() {
  stop();
  runPosted();  // tasks posted after the end still release what they hold
  sd_event_source_disable_unref(wake_);
  sd_event_unref(event_);
  if (wakeFd_ >= 0) ::close(wakeFd_);
}

void EventLoop::start() {
  thread_ = std::thread([this] { sd_event_loop(event_); });
}

void EventLoop::stop() {
  if (!thread_.joinable()) return;
  post([this] { sd_event_exit(event_, 0); });
  thread_.join();
}

void EventLoop::post(std::function<void()> task) {
  {
    std::lock_guard lock(mutex_);
    posted_.push_back(std::move(task));
  }
  const uint64_t one = 1;
  [[maybe_unused]] ssize_t n = ::write(wakeFd_, &one, sizeof one);
}

int EventLoop::OnWake(sd_event_source*, int fd, uint32_t, void* self) {
  uint64_t count;
  [[maybe_unused]] ssize_t n = ::read(fd, &count, sizeof count);
  static_cast<EventLoop*>(self)->runPosted();
  return 0;
}

void EventLoop::runPosted() {
  std::vector<std::function<void()>> tasks;
  {
    std::lock_guard lock(mutex_);
    tasks.swap(posted_);
  }
  for (auto& task : tasks) task();
}

}  // namespace tl::linuxdev
