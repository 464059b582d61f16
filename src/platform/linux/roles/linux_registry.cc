// LinuxRegistry: entries, ports, interest registrations and their messages.
#include "platform/linux/roles/linux_registry.h"

#include <algorithm>
#include <atomic>

#include "platform/backlight.h"
#include "platform/dispatch.h"
#include "platform/linux/power/logind_sleep.h"

namespace tl::linuxdev {

using namespace platform;

class LinuxRegistry::Entry : public RegistryEntry {
 public:
  enum class Kind { kBattery, kBacklight, kRootDomain };
  explicit Entry(Kind kind) : kind(kind) {}
  const Kind kind;
};

// Messages arrive on the port's queue once one is set; before that, and after the port is
// destroyed, they are dropped, as no one could receive them. Registrations share the cell.
using QueueCell = std::shared_ptr<std::atomic<Queue*>>;

class LinuxRegistry::Port : public NotificationPort {
 public:
  ~Port() override { *queue_ = nullptr; }
  void setDispatchQueue(Queue& queue) override { *queue_ = &queue; }
  const QueueCell& queue() const { return queue_; }

 private:
  QueueCell queue_ = std::make_shared<std::atomic<Queue*>>(nullptr);
};

struct LinuxRegistry::Interest {
  std::shared_ptr<Entry> entry;
  QueueCell queue;
  InterestCallback callback;
  SystemPowerCallback powerCallback;
  std::atomic<bool> live{true};
};

class LinuxRegistry::InterestRegistration : public Registration {
 public:
  InterestRegistration(LinuxRegistry& owner, std::shared_ptr<Interest> interest)
      : owner_(owner), interest_(std::move(interest)) {}
  ~InterestRegistration() override {
    interest_->live = false;
    MutexLock lock(owner_.mutex_);
    std::erase(owner_.interests_, interest_);
  }

 private:
  LinuxRegistry& owner_;
  std::shared_ptr<Interest> interest_;
};

namespace {
constexpr uint32_t kRootDomainConnect = 1;
}

LinuxRegistry::LinuxRegistry(BatterySource& battery, BacklightSource& backlight)
    : battery_(battery),
      backlight_(backlight),
      rootDomain_(std::make_shared<Entry>(Entry::Kind::kRootDomain)) {
  if (battery_.reading().present) batteryEntry_ = std::make_shared<Entry>(Entry::Kind::kBattery);
  if (backlight_.present()) backlightEntry_ = std::make_shared<Entry>(Entry::Kind::kBacklight);
}

LinuxRegistry::~LinuxRegistry() = default;

RegistryEntryRef LinuxRegistry::matchServiceByClass(const std::string& className) {
  return className == kBatteryClass ? batteryEntry_ : nullptr;
}

RegistryEntryRef LinuxRegistry::matchServiceByProperties(const Dictionary& matching) {
  return matching == BacklightMatching() ? backlightEntry_ : nullptr;
}

std::unique_ptr<NotificationPort> LinuxRegistry::createNotificationPort() {
  return std::make_unique<Port>();
}

Status LinuxRegistry::addInterestNotification(NotificationPort& port,
                                              const RegistryEntryRef& service,
                                              const std::string& interestType,
                                              InterestCallback callback,
                                              std::unique_ptr<Registration>* out) {
  auto entry = std::dynamic_pointer_cast<Entry>(service);
  if (!entry || interestType != kGeneralInterest) {
    return Status::Error(kReturnBadArgument, "no such service");
  }
  auto interest = std::make_shared<Interest>();
  interest->entry = std::move(entry);
  interest->queue = static_cast<Port&>(port).queue();
  interest->callback = std::move(callback);
  {
    MutexLock lock(mutex_);
    interests_.push_back(interest);
  }
  *out = std::make_unique<InterestRegistration>(*this, std::move(interest));
  return Status::OK();
}

Status LinuxRegistry::properties(const RegistryEntry& entry,
                                 std::shared_ptr<const Dictionary>* out) {
  // Each read is the sysfs reading of the moment, made once and then shared by its readers.
  const auto& e = static_cast<const Entry&>(entry);
  if (e.kind == Entry::Kind::kBattery) {
    BatteryReading reading = battery_.reading();
    if (!reading.present) return Status::Error(kReturnNotFound, "the battery is gone");
    *out = std::make_shared<const Dictionary>(std::move(reading.properties));
    return Status::OK();
  }
  if (e.kind == Entry::Kind::kBacklight) {
    auto brightness = backlight_.brightness();
    if (!brightness) return Status::Error(kReturnNotFound, "the backlight is gone");
    *out = std::make_shared<const Dictionary>(BacklightProperties(std::move(*brightness)));
    return Status::OK();
  }
  *out = std::make_shared<const Dictionary>();
  return Status::OK();
}

std::optional<Value> LinuxRegistry::property(const RegistryEntry& entry, const std::string& key) {
  std::shared_ptr<const Dictionary> all;
  if (!properties(entry, &all).ok()) return std::nullopt;
  const Value* value = Find(*all, key);
  if (!value) return std::nullopt;
  return *value;
}

float LinuxRegistry::displayBrightness() { return backlight_.fraction(); }

SystemPowerConnection LinuxRegistry::registerForSystemPower(SystemPowerCallback callback) {
  auto port = std::make_unique<Port>();
  auto interest = std::make_shared<Interest>();
  interest->entry = rootDomain_;
  interest->queue = port->queue();
  interest->powerCallback = std::move(callback);
  {
    MutexLock lock(mutex_);
    interests_.push_back(interest);
  }
  SystemPowerConnection connection;
  connection.rootDomainConnect = kRootDomainConnect;
  connection.port = std::move(port);
  connection.notifier = std::make_unique<InterestRegistration>(*this, std::move(interest));
  return connection;
}

Status LinuxRegistry::allowPowerChange(uint32_t rootDomainConnect, intptr_t notificationId) {
  if (rootDomainConnect != kRootDomainConnect) {
    return Status::Error(kReturnBadArgument, "not a system-power connection");
  }
  if (sleep_) sleep_->acknowledge(notificationId);
  return Status::OK();
}

Status LinuxRegistry::closeConnection(uint32_t rootDomainConnect) {
  if (rootDomainConnect != kRootDomainConnect) {
    return Status::Error(kReturnBadArgument, "not a system-power connection");
  }
  return Status::OK();
}

void LinuxRegistry::deliver(const Entry& entry, uint32_t messageType, intptr_t argument) {
  MutexLock lock(mutex_);
  for (const auto& interest : interests_) {
    if (interest->entry.get() != &entry) continue;
    Queue* queue = interest->queue->load();
    if (!queue) continue;
    queue->async([interest, messageType, argument] {
      if (!interest->live) return;
      if (interest->powerCallback) {
        interest->powerCallback(messageType, argument);
      } else {
        interest->callback(interest->entry, messageType, argument);
      }
    });
  }
}

void LinuxRegistry::batteryChanged() {
  if (batteryEntry_) deliver(*batteryEntry_, kMessageBatteryStatusChanged, 0);
}

void LinuxRegistry::backlightChanged() {
  if (backlightEntry_) deliver(*backlightEntry_, kMessageServicePropertyChange, 0);
}

void LinuxRegistry::willSleep(intptr_t id) { deliver(*rootDomain_, kMessageSystemWillSleep, id); }

void LinuxRegistry::poweredOn() { deliver(*rootDomain_, kMessageSystemHasPoweredOn, 0); }

}  // namespace tl::linuxdev
