// WeakBinder: callbacks that may outlive an object and reach it only while it lives.
#pragma once

#include <memory>
#include <utility>

namespace tl {

// Platform registrations that are kept for the process can call back after the object that made
// them is gone. A callback made with bind() runs its function on the owner while the owner lives
// and does nothing afterwards. The owner holds the binder and calls invalidate() first thing in
// its destructor; a callback must not run on another thread while the owner is destroyed.
template <class T>
class WeakBinder {
 public:
  explicit WeakBinder(T& owner) : owner_(std::make_shared<T*>(&owner)) {}
  ~WeakBinder() { invalidate(); }
  WeakBinder(const WeakBinder&) = delete;
  WeakBinder& operator=(const WeakBinder&) = delete;

  // A callable that runs fn(owner, args...) while the owner lives.
  template <class F>
  auto bind(F fn) const {
    return [owner = std::weak_ptr<T*>(owner_), fn = std::move(fn)](auto&&... args) {
      if (auto live = owner.lock(); live && *live) {
        fn(**live, std::forward<decltype(args)>(args)...);
      }
    };
  }

  void invalidate() { *owner_ = nullptr; }

 private:
  std::shared_ptr<T*> owner_;
};

}  // namespace tl
