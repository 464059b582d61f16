// ThreadPool: the few worker threads on which every queue of the Linux device runs.
#pragma once

#include <deque>
#include <functional>
#include <thread>
#include <vector>

#include "base/mutex.h"

namespace tl::linuxdev {

// Runs submitted tasks on a fixed set of threads, oldest first. The destructor lets the workers
// finish what was submitted and joins them.
class ThreadPool {
 public:
  explicit ThreadPool(int threads);
  ~ThreadPool();
  ThreadPool(const ThreadPool&) = delete;
  ThreadPool& operator=(const ThreadPool&) = delete;

  void submit(std::function<void()> task);
  // Waits until no task is queued or running.
  void waitIdle();

 private:
  void work();

  Mutex mutex_;
  CondVar ready_;
  CondVar idle_;
  int running_ TL_GUARDED_BY(mutex_) = 0;
  std::deque<std::function<void()>> tasks_ TL_GUARDED_BY(mutex_);
  bool stopping_ TL_GUARDED_BY(mutex_) = false;
  std::vector<std::thread> workers_;
};

}  // namespace tl::linuxdev
