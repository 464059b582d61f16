// NotificationCenter: the module's in-process notifications, posted and delivered synchronously.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/registration.h"
#include "platform/value.h"

namespace tl::platform {

struct Notification {
  std::string name;
  const void* object = nullptr;  // the poster, or nullptr
  Dictionary userInfo;
};

// Observers run on the posting thread, in the order they were added, before post() returns;
// that is what lets power observers finish their work before the system is allowed to sleep.
// Observers may be added and removed from any thread, also from inside a delivery.
class NotificationCenter {
 public:
  using Handler = std::function<void(const Notification&)>;

  NotificationCenter() = default;
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;

  // Observes name from any sender; an empty name observes every notification. Destroying the
  // registration removes the observer; it must not outlive the centre.
  std::unique_ptr<Registration> addObserver(std::string name, Handler handler);
  void post(std::string name, const void* object, Dictionary userInfo = {});

 private:
  class Observer;
  struct Entry {
    uint64_t id;
    std::string name;
    std::shared_ptr<Handler> handler;
  };
  void remove(uint64_t id);

  mutable std::mutex mutex_;
  std::vector<Entry> entries_;
  uint64_t nextId_ = 1;
};

}  // namespace tl::platform
