// NoDestructor: a process-wide object that is built on first use and never torn down.
#pragma once

#include <new>
#include <utility>

namespace tl {

// The module lives as long as the process; its objects must not be destroyed by exit-time
// destructors while the host's platform they use is already gone. For tables built on first use
// (a function-local static); process-wide state read on hot paths is Immortal instead.
template <class T>
class NoDestructor {
 public:
  template <class... Args>
  explicit NoDestructor(Args&&... args) {
    ::new (storage_) T(std::forward<Args>(args)...);
  }
  NoDestructor(const NoDestructor&) = delete;
  NoDestructor& operator=(const NoDestructor&) = delete;

  T& operator*() { return *get(); }
  T* operator->() { return get(); }
  T* get() { return std::launder(reinterpret_cast<T*>(storage_)); }
  const T& operator*() const { return *get(); }
  const T* operator->() const { return get(); }
  const T* get() const { return std::launder(reinterpret_cast<const T*>(storage_)); }

 private:
  alignas(T) unsigned char storage_[sizeof(T)];
};

}  // namespace tl
