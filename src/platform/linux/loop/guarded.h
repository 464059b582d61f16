// Guarded: a value that the loop thread replaces and any queue reads.
#pragma once

#include <mutex>

namespace tl::linuxdev {

template <class T>
class Guarded {
 public:
  T get() const {
    std::lock_guard lock(mutex_);
    return value_;
  }
  // Replaces the value when same(old, value) is false; whether it did.
  template <class Same>
  bool replace(T value, Same same) {
    std::lock_guard lock(mutex_);
    if (same(value_, value)) return false;
    value_ = std::move(value);
    return true;
  }
  bool replace(T value) {
    return replace(std::move(value), [](const T& a, const T& b) { return a == b; });
  }

 private:
  mutable std::mutex mutex_;
  T value_{};
};

}  // namespace tl::linuxdev
