// SimRegistry: entries made from the battery and backlight data, and message delivery.
#include "platform/sim/sim_registry.h"

#include <algorithm>

#include "platform/backlight.h"

namespace tl::sim {

using namespace platform;

class SimRegistry::Entry : public RegistryEntry {
 public:
  explicit Entry(bool battery) : battery(battery) {}
  const bool battery;
};

struct SimRegistry::PortState {
  Queue* queue = nullptr;
  bool alive = true;
};

class SimRegistry::Port : public NotificationPort {
 public:
  Port() : state(std::make_shared<PortState>()) {}
  ~Port() override { state->alive = false; }
  void setDispatchQueue(Queue& queue) override { state->queue = &queue; }
  std::shared_ptr<PortState> state;
};

class SimRegistry::Interest : public Registration {
 public:
  Interest(SimRegistry& registry, std::shared_ptr<InterestCallback> callback)
      : registry_(registry), callback_(std::move(callback)) {}
  ~Interest() override {
    std::erase_if(registry_.interests_,
                  [&](const InterestRecord& r) { return r.callback == callback_; });
  }

 private:
  SimRegistry& registry_;
  std::shared_ptr<InterestCallback> callback_;
};

// Destroying it deregisters from system power.
class SimRegistry::Notifier : public Registration {
 public:
  explicit Notifier(SimRegistry& registry) : registry_(registry) {}
  ~Notifier() override {
    std::erase_if(registry_.power_, [&](const PowerRecord& r) { return r.notifier == this; });
  }

 private:
  SimRegistry& registry_;
};

SimRegistry::SimRegistry(SimContext context)
    : context_(context),
      battery_(std::make_shared<Entry>(true)),
      backlight_(std::make_shared<Entry>(false)) {}

SimRegistry::~SimRegistry() = default;

const std::shared_ptr<const Dictionary>& SimRegistry::propertiesOf(const Entry& entry) const {
  if (entry.battery) {
    if (!batteryMade_) {
      const std::optional<Dictionary>& battery = context_.state.battery;
      // Held only here (and as batteryWritable_): no reader can see the snapshot change.
      const bool unshared = batteryWritable_ && batteryProperties_.use_count() == 2;
      if (!battery) {
        batteryWritable_.reset();
        batteryProperties_.reset();
      } else if (unshared) {
        *batteryWritable_ = *battery;
      } else {
        batteryWritable_ = std::make_shared<Dictionary>(*battery);
        batteryProperties_ = batteryWritable_;
      }
      batteryMade_ = true;
    }
    return batteryProperties_;
  }
  const std::optional<Backlight>& backlight = context_.state.backlight;
  if (backlightMadeFrom_ && *backlightMadeFrom_ == backlight) return backlightProperties_;
  backlightMadeFrom_ = backlight;
  backlightProperties_.reset();
  if (backlight) {
    Dictionary brightness;
    if (backlight->min) brightness.emplace("min", *backlight->min);
    if (backlight->max) brightness.emplace("max", *backlight->max);
    if (backlight->value) brightness.emplace("value", *backlight->value);
    backlightProperties_ =
        std::make_shared<const Dictionary>(BacklightProperties(std::move(brightness)));
  }
  return backlightProperties_;
}

RegistryEntryRef SimRegistry::matchServiceByClass(const std::string& className) {
  if (className == platform::kBatteryClass && propertiesOf(*battery_)) return battery_;
  if (className == kBacklightClass && propertiesOf(*backlight_)) return backlight_;
  return nullptr;
}

RegistryEntryRef SimRegistry::matchServiceByProperties(const Dictionary& matching) {
  const Value* wanted = Find(matching, kPropertyMatchKey);
  if (!wanted || !wanted->dictionary()) return nullptr;
  for (const auto& entry : {battery_, backlight_}) {
    const auto& properties = propertiesOf(*entry);
    if (!properties) continue;
    bool all = std::all_of(wanted->dictionary()->begin(), wanted->dictionary()->end(),
                           [&](const auto& pair) {
                             const Value* have = Find(*properties, pair.first);
                             return have && *have == pair.second;
                           });
    if (all) return entry;
  }
  return nullptr;
}

std::unique_ptr<NotificationPort> SimRegistry::createNotificationPort() {
  return std::make_unique<Port>();
}

Status SimRegistry::addInterestNotification(NotificationPort& port, const RegistryEntryRef& service,
                                            const std::string& interestType,
                                            InterestCallback callback,
                                            std::unique_ptr<Registration>* out) {
  auto entry = std::dynamic_pointer_cast<Entry>(service);
  if (!entry || interestType != kGeneralInterest) {
    return Status::Error(kReturnBadArgument, "bad argument");
  }
  auto shared = std::make_shared<InterestCallback>(std::move(callback));
  interests_.push_back({entry, static_cast<Port&>(port).state, shared});
  *out = std::make_unique<Interest>(*this, shared);
  return Status::OK();
}

Status SimRegistry::properties(const RegistryEntry& entry, std::shared_ptr<const Dictionary>* out) {
  const auto& properties = propertiesOf(static_cast<const Entry&>(entry));
  if (!properties) return Status::Error(kReturnNotFound, "not found");
  *out = properties;
  return Status::OK();
}

std::optional<Value> SimRegistry::property(const RegistryEntry& entry, const std::string& key) {
  const auto& properties = propertiesOf(static_cast<const Entry&>(entry));
  if (!properties) return std::nullopt;
  const Value* v = Find(*properties, key);
  if (!v || v->isNull()) return std::nullopt;
  return *v;
}

float SimRegistry::displayBrightness() { return context_.state.brightnessLevel; }

SystemPowerConnection SimRegistry::registerForSystemPower(SystemPowerCallback callback) {
  auto port = std::make_unique<Port>();
  auto notifier = std::make_unique<Notifier>(*this);
  uint32_t connect = nextConnect_++;
  power_.push_back({connect, port->state,
                    std::make_shared<SystemPowerCallback>(std::move(callback)), notifier.get()});
  return SystemPowerConnection{connect, std::move(port), std::move(notifier)};
}

Status SimRegistry::allowPowerChange(uint32_t rootDomainConnect, intptr_t notificationId) {
  bool known = std::any_of(power_.begin(), power_.end(),
                           [&](const PowerRecord& r) { return r.connect == rootDomainConnect; });
  if (!known) return Status::Error(kReturnBadArgument, "unknown connection");
  context_.outputs.powerAck(notificationId);
  return Status::OK();
}

Status SimRegistry::closeConnection(uint32_t rootDomainConnect) { return Status::OK(); }

void SimRegistry::deliver(const std::shared_ptr<Entry>& entry, uint32_t messageType) {
  for (const InterestRecord& r : interests_) {
    if (r.entry != entry || !r.port->alive || !r.port->queue) continue;
    auto callback = r.callback;
    RegistryEntryRef service = entry;
    r.port->queue->async(
        [callback, service, messageType] { (*callback)(service, messageType, 0); });
  }
}

void SimRegistry::batteryMessage(uint32_t messageType) { deliver(battery_, messageType); }

void SimRegistry::backlightMessage(uint32_t messageType) { deliver(backlight_, messageType); }

void SimRegistry::systemPowerMessage(uint32_t messageType, intptr_t notificationId) {
  for (const PowerRecord& r : power_) {
    if (!r.port->alive || !r.port->queue) continue;
    auto callback = r.callback;
    r.port->queue->async(
        [callback, messageType, notificationId] { (*callback)(messageType, notificationId); });
  }
}

size_t SimRegistry::interestRegistrations() const { return interests_.size(); }

size_t SimRegistry::powerRegistrations() const { return power_.size(); }

}  // namespace tl::sim
