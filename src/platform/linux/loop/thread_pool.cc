// ThreadPool: workers waiting on one task list.
#include "platform/linux/loop/thread_pool.h"

namespace tl::linuxdev {

ThreadPool::ThreadPool(int threads) {
  for (int i = 0; i < threads; ++i) workers_.emplace_back([this] { work(); });
}

ThreadPool::~ThreadPool() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  ready_.notify_all();
  for (std::thread& worker : workers_) worker.join();
}

void ThreadPool::submit(std::function<void()> task) {
  {
    std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  ready_.notify_one();
}

void ThreadPool::waitIdle() {
  std::unique_lock lock(mutex_);
  idle_.wait(lock, [this] { return running_ == 0 && tasks_.empty(); });
}

void ThreadPool::work() {
  while (true) {
    std::function<void()> task;
    {
      std::unique_lock lock(mutex_);
      ready_.wait(lock, [this] { return stopping_ || !tasks_.empty(); });
      if (tasks_.empty()) return;  // stopping, and nothing left to do
      task = std::move(tasks_.front());
      tasks_.pop_front();
      ++running_;
    }
    task();
    task = nullptr;  // what the task holds is released before it counts as done
    std::lock_guard lock(mutex_);
    if (--running_ == 0 && tasks_.empty()) idle_.notify_all();
  }
}

}  // namespace tl::linuxdev
