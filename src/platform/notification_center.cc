// NotificationCenter: synchronous delivery to observers by name.
#include "platform/notification_center.h"

#include <algorithm>

namespace tl::platform {

class NotificationCenter::Observer : public Registration {
 public:
  Observer(NotificationCenter& center, uint64_t id) : center_(center), id_(id) {}
  ~Observer() override { center_.remove(id_); }

 private:
  NotificationCenter& center_;
  uint64_t id_;
};

std::unique_ptr<Registration> NotificationCenter::addObserver(std::string name, Handler handler) {
  std::lock_guard lock(mutex_);
  const uint64_t id = nextId_++;
  entries_.push_back({id, std::move(name), std::make_shared<Handler>(std::move(handler))});
  return std::make_unique<Observer>(*this, id);
}

void NotificationCenter::remove(uint64_t id) {
  std::lock_guard lock(mutex_);
  std::erase_if(entries_, [&](const Entry& e) { return e.id == id; });
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
