// LinuxNamedNotifications: states, tokens and delivery on the registered queues.
#include "platform/linux/roles/linux_named_notifications.h"

#include "platform/dispatch.h"

namespace tl::linuxdev {

using namespace platform;

struct LinuxNamedNotifications::Entry {
  std::string name;
  Queue* queue = nullptr;  // null for a check registration
  Handler handler;
  std::atomic<bool> live{true};
};

class LinuxNamedNotifications::Token : public NotifyRegistration {
 public:
  Token(LinuxNamedNotifications& owner, int32_t token, std::shared_ptr<Entry> entry)
      : owner_(owner), token_(token), entry_(std::move(entry)) {}
  ~Token() override {
    entry_->live = false;
    MutexLock lock(owner_.mutex_);
    owner_.active_.erase(token_);
  }
  int32_t token() const override { return token_; }

 private:
  LinuxNamedNotifications& owner_;
  int32_t token_;
  std::shared_ptr<Entry> entry_;
};

LinuxNamedNotifications::~LinuxNamedNotifications() = default;

Status LinuxNamedNotifications::add(const std::string& name, Queue* queue, Handler handler,
                                    std::unique_ptr<NotifyRegistration>* out) {
  if (name.empty()) return Status::Error(kNotifyStatusInvalidName, "invalid name");
  auto entry = std::make_shared<Entry>();
  entry->name = name;
  entry->queue = queue;
  entry->handler = std::move(handler);
  MutexLock lock(mutex_);
  const int32_t token = nextToken_++;
  active_.emplace(token, entry);
  *out = std::make_unique<Token>(*this, token, std::move(entry));
  return Status::OK();
}

Status LinuxNamedNotifications::registerDispatch(const std::string& name, Queue& queue,
                                                 Handler handler,
                                                 std::unique_ptr<NotifyRegistration>* out) {
  return add(name, &queue, std::move(handler), out);
}

Status LinuxNamedNotifications::registerCheck(const std::string& name,
                                              std::unique_ptr<NotifyRegistration>* out) {
  return add(name, nullptr, nullptr, out);
}

Status LinuxNamedNotifications::getState(int32_t token, uint64_t* state) {
  MutexLock lock(mutex_);
  auto it = active_.find(token);
  if (it == active_.end()) return Status::Error(kNotifyStatusInvalidToken, "invalid token");
  auto value = states_.find(it->second->name);
  *state = value == states_.end() ? 0 : value->second;
  return Status::OK();
}

void LinuxNamedNotifications::setState(const std::string& name, uint64_t state) {
  MutexLock lock(mutex_);
  states_[name] = state;
}

void LinuxNamedNotifications::post(const std::string& name, uint64_t state) {
  MutexLock lock(mutex_);
  states_[name] = state;
  for (const auto& [token, entry] : active_) {
    if (entry->name != name || !entry->queue) continue;
    entry->queue->async([entry = entry, token = token] {
      if (entry->live) entry->handler(token);
    });
  }
}

void LinuxNamedNotifications::setThermalLevel(int64_t level) {
  if (thermalLevel_.exchange(level) != level) post(kThermalLevelNotification, 0);
}

}  // namespace tl::linuxdev
