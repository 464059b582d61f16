// NotificationCenter: synchronous delivery to observers by name.
#include "platform/notification_center.h"

#include <algorithm>

namespace tl::platform {

void NotificationCenter::addObserver(const void* observer, std::string name, Handler handler) {
  std::lock_guard lock(mutex_);
  entries_.push_back({observer, std::move(name), std::make_shared<Handler>(std::move(handler))});
}

void NotificationCenter::removeObserver(const void* observer) {
  std::lock_guard lock(mutex_);
  std::erase_if(entries_, [&](const Entry& e) { return e.observer == observer; });
}

void NotificationCenter::post(std::string name, const void* object, Dictionary userInfo) {
  // Deliver outside the lock to a snapshot, so that a handler may post or (un)register.
  std::vector<std::shared_ptr<Handler>> targets;
  {
    std::lock_guard lock(mutex_);
    for (const Entry& e : entries_) {
      if (e.name.empty() || e.name == name) targets.push_back(e.handler);
    }
  }
  Notification notification{std::move(name), object, std::move(userInfo)};
  for (const auto& handler : targets) (*handler)(notification);
}

}  // namespace tl::platform
