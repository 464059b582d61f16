// SimRegistry: the simulated device's registry (battery entry, backlight service), its interest
// messages, system power messages and display brightness.
#pragma once

#include <memory>
#include <vector>

#include "platform/device_registry.h"
#include "platform/sim/sim_context.h"

namespace tl::sim {

class SimRegistry : public platform::DeviceRegistry, public platform::SystemPower {
 public:
  // The backlight service's own class; the module finds it by its properties.
  static constexpr char kBacklightClass[] = "DVBacklightDisplay";

  explicit SimRegistry(SimContext context);
  ~SimRegistry() override;

  // DeviceRegistry.
  platform::RegistryEntryRef matchServiceByClass(const std::string& className) override;
  platform::RegistryEntryRef matchServiceByProperties(
      const platform::Dictionary& matching) override;
  std::unique_ptr<platform::NotificationPort> createNotificationPort() override;
  Status addInterestNotification(platform::NotificationPort& port,
                                 const platform::RegistryEntryRef& service,
                                 const std::string& interestType,
                                 platform::InterestCallback callback,
                                 std::unique_ptr<platform::Registration>* out) override;
  Status properties(const platform::RegistryEntry& entry,
                    std::shared_ptr<const platform::Dictionary>* out) override;
  std::optional<platform::Value> property(const platform::RegistryEntry& entry,
                                          const std::string& key) override;
  float displayBrightness() override;

  // SystemPower.
  platform::SystemPowerConnection registerForSystemPower(
      platform::SystemPowerCallback callback) override;
  Status allowPowerChange(uint32_t rootDomainConnect, intptr_t notificationId) override;
  Status closeConnection(uint32_t rootDomainConnect) override;

  // The hardware side: a message from the battery entry or the backlight service to its
  // interest registrations, and a system-power message to its registrations.
  void batteryMessage(uint32_t messageType);
  // The device state's battery changed: the next read makes a new snapshot.
  void batteryChanged() { batteryMade_ = false; }
  void backlightMessage(uint32_t messageType);
  void systemPowerMessage(uint32_t messageType, intptr_t notificationId);

  size_t interestRegistrations() const;
  size_t powerRegistrations() const;

 private:
  class Entry;
  struct PortState;
  class Port;
  class Interest;
  class Notifier;
  struct InterestRecord {
    std::shared_ptr<Entry> entry;
    std::shared_ptr<PortState> port;
    std::shared_ptr<platform::InterestCallback> callback;
  };
  struct PowerRecord {
    uint32_t connect;
    std::shared_ptr<PortState> port;
    std::shared_ptr<platform::SystemPowerCallback> callback;
    const Notifier* notifier;
  };

  // The entry's properties as the device state has them now; nullptr when it has none.
  const std::shared_ptr<const platform::Dictionary>& propertiesOf(const Entry& entry) const;
  void deliver(const std::shared_ptr<Entry>& entry, uint32_t messageType);

  SimContext context_;
  std::shared_ptr<Entry> battery_;
  std::shared_ptr<Entry> backlight_;
  std::vector<InterestRecord> interests_;
  std::vector<PowerRecord> power_;
  uint32_t nextConnect_ = 0x2a03;
  // Each entry's properties are made from the device state once per change of it, as a real
  // registry keeps its properties, and handed out as one shared snapshot until the next change.
  // The battery's, and whether they are made since it last changed. batteryWritable_ is the same
  // snapshot while it has one: when nobody but the registry holds it any more, a change is
  // copied into it, reusing its entries, rather than into a new one.
  mutable std::shared_ptr<const platform::Dictionary> batteryProperties_;
  mutable std::shared_ptr<platform::Dictionary> batteryWritable_;
  mutable bool batteryMade_ = false;
  // The backlight's, and the brightness they were made from (empty until made).
  mutable std::shared_ptr<const platform::Dictionary> backlightProperties_;
  mutable std::optional<std::optional<Backlight>> backlightMadeFrom_;
};

}  // namespace tl::sim
