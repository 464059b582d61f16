// ThreadPool: the few worker threads on which every queue of the Linux device runs.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

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

  std::mutex mutex_;
  std::condition_variable ready_;
  std::condition_variable idle_;
  int running_ = 0;
  std::deque<std::function<void()>> tasks_;
  bool stopping_ = false;
  std::vector<std::thread> workers_;
};

}  // namespace tl::linuxdev
