// NotificationCenter: the module's in-process notifications, posted and delivered synchronously.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/mutex.h"
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
// Observers may be added and removed from any thread, also from inside a delivery; a delivery
// goes to the observers there were when it began.
//
// Every power event is a post, so a post allocates nothing once its name has been posted on
// the thread before: the observer list is shared copy-on-write, and each thread reuses one
// notification per nesting depth.
class NotificationCenter {
 public:
  using Handler = std::function<void(const Notification&)>;

  NotificationCenter() = default;
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;

  // Observes name from any sender; an empty name observes every notification. Destroying the
  // registration removes the observer; it must not outlive the centre.
  std::unique_ptr<Registration> addObserver(std::string name, Handler handler);
  void post(std::string_view name, const void* object, Dictionary userInfo = {});

 private:
  class Observer;
  struct Entry {
    uint64_t id;
    std::string name;
    std::shared_ptr<Handler> handler;
  };
  void remove(uint64_t id);

  using Entries = std::vector<Entry>;

  mutable Mutex mutex_;
  // Replaced, never changed, so that a delivery can go on with the list it began with.
  std::shared_ptr<const Entries> entries_ TL_GUARDED_BY(mutex_) = std::make_shared<const Entries>();
  uint64_t nextId_ TL_GUARDED_BY(mutex_) = 1;
};

}  // namespace tl::platform
