// NotificationCenter: the module's in-process notifications, posted and delivered synchronously.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

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

  // Observes name from any sender. An empty name observes every notification.
  void addObserver(const void* observer, std::string name, Handler handler);
  // Removes every registration of observer.
  void removeObserver(const void* observer);
  void post(std::string name, const void* object, Dictionary userInfo = {});

 private:
  struct Entry {
    const void* observer;
    std::string name;
    std::shared_ptr<Handler> handler;
  };
  mutable std::mutex mutex_;
  std::vector<Entry> entries_;
};

}  // namespace tl::platform
