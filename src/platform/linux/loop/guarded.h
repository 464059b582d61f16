// Guarded: a value that the loop thread replaces and any queue reads.
#pragma once

#include "base/mutex.h"

namespace tl::linuxdev {

template <class T>
class Guarded {
 public:
  T get() const {
    MutexLock lock(mutex_);
    return value_;
  }
  // Replaces the value when same(old, value) is false; whether it did.
  template <class Same>
  bool replace(T value, Same same) {
    MutexLock lock(mutex_);
    if (same(value_, value)) return false;
    value_ = std::move(value);
    return true;
  }
  bool replace(T value) {
    return replace(std::move(value), [](const T& a, const T& b) { return a == b; });
  }

 private:
  mutable Mutex mutex_;
  T value_ TL_GUARDED_BY(mutex_){};
};

}  // namespace tl::linuxdev
