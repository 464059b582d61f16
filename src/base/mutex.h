// Mutex, MutexLock and CondVar: std::mutex and its companions, with the contracts the compiler
// checks (base/thread_annotations.h).
#pragma once

#include <condition_variable>
#include <mutex>

#include "base/thread_annotations.h"

namespace tl {

class TL_CAPABILITY("mutex") Mutex {
 public:
  void lock() TL_ACQUIRE() { mutex_.lock(); }
  void unlock() TL_RELEASE() { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};

// Holds a Mutex for the scope it lives in.
class TL_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) TL_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  ~MutexLock() TL_RELEASE() { mutex_.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& mutex_;
};

// Waits on a Mutex the caller holds; the mutex is let go while it waits and held again when
// wait returns. Callers test their condition in a loop around wait, under the mutex, so that
// the compiler sees every read of the state it guards.
class CondVar {
 public:
  void wait(Mutex& mutex) TL_REQUIRES(mutex) { condition_.wait(mutex); }
  void notifyOne() { condition_.notify_one(); }
  void notifyAll() { condition_.notify_all(); }

 private:
  std::condition_variable_any condition_;
};

}  // namespace tl
