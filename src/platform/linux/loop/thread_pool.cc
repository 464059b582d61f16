// ThreadPool: workers waiting on one task list.
#include "platform/linux/loop/thread_pool.h"

namespace tl::linuxdev {

ThreadPool::ThreadPool(int threads) {
  for (int i = 0; i < threads; ++i) workers_.emplace_back([this] { work(); });
}

ThreadPool::~ThreadPool() {
  {
    MutexLock lock(mutex_);
    stopping_ = true;
  }
  ready_.notifyAll();
  for (std::thread& worker : workers_) worker.join();
}

void ThreadPool::submit(std::function<void()> task) {
  {
    MutexLock lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  ready_.notifyOne();
}

void ThreadPool::waitIdle() {
  MutexLock lock(mutex_);
  while (running_ != 0 || !tasks_.empty()) idle_.wait(mutex_);
}

void ThreadPool::work() {
  while (true) {
    std::function<void()> task;
    {
      MutexLock lock(mutex_);
      while (!stopping_ && tasks_.empty()) ready_.wait(mutex_);
      if (tasks_.empty()) return;  // stopping, and nothing left to do
      task = std::move(tasks_.front());
      tasks_.pop_front();
      ++running_;
    }
    task();
    task = nullptr;  // what the task holds is released before it counts as done
    MutexLock lock(mutex_);
    if (--running_ == 0 && tasks_.empty()) idle_.notifyAll();
  }
}

}  // namespace tl::linuxdev
