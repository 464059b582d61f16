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
  MutexLock lock(mutex_);
  const uint64_t id = nextId_++;
  auto entries = std::make_shared<Entries>(*entries_);
  entries->push_back({id, std::move(name), std::make_shared<Handler>(std::move(handler))});
  entries_ = std::move(entries);
  return std::make_unique<Observer>(*this, id);
}

void NotificationCenter::remove(uint64_t id) {
  MutexLock lock(mutex_);
  auto entries = std::make_shared<Entries>(*entries_);
  std::erase_if(*entries, [&](const Entry& e) { return e.id == id; });
  entries_ = std::move(entries);
}

void NotificationCenter::post(std::string_view name, const void* object, Dictionary userInfo) {
  // Deliver outside the lock, to the list as it is now, so that a handler may post or
  // (un)register; the list keeps its handlers alive until the delivery ends.
  std::shared_ptr<const Entries> entries;
  {
    MutexLock lock(mutex_);
    entries = entries_;
  }
  // A handler may post in turn: each depth has a notification of its own.
  thread_local std::vector<std::unique_ptr<Notification>> reused;
  thread_local size_t depth = 0;
  if (depth == reused.size()) reused.push_back(std::make_unique<Notification>());
  Notification& notification = *reused[depth];
  notification.name.assign(name);
  notification.object = object;
  notification.userInfo = std::move(userInfo);
  struct Nested {
    Notification& notification;
    explicit Nested(Notification& n) : notification(n) { ++depth; }
    ~Nested() {
      --depth;
      notification.userInfo.clear();  // what the poster handed over goes with the delivery
      notification.object = nullptr;
    }
  } nested(notification);
  for (const Entry& e : *entries) {
    if (e.name.empty() || e.name == notification.name) (*e.handler)(notification);
  }
}

}  // namespace tl::platform
