// LinuxRegistry: the device registry and system power of the Linux device: the battery entry
// from the power supplies, the backlight service from the backlight, sleep and wake from logind.
#pragma once

#include <memory>
#include <vector>

#include "base/mutex.h"
#include "platform/device_registry.h"
#include "platform/linux/power/backlight_source.h"
#include "platform/linux/power/battery_source.h"

namespace tl::linuxdev {

class LogindSleep;

class LinuxRegistry : public platform::DeviceRegistry, public platform::SystemPower {
 public:
  LinuxRegistry(BatterySource& battery, BacklightSource& backlight);
  ~LinuxRegistry() override;

  void setSleep(LogindSleep* sleep) { sleep_ = sleep; }

  // DeviceRegistry. The battery entry exists when a system battery did at start, the backlight
  // service when a backlight did.
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

  // SystemPower. There is no can-sleep message on Linux: logind asks nobody whether it may.
  platform::SystemPowerConnection registerForSystemPower(
      platform::SystemPowerCallback callback) override;
  Status allowPowerChange(uint32_t rootDomainConnect, intptr_t notificationId) override;
  Status closeConnection(uint32_t rootDomainConnect) override;

  // From the sources, on the loop thread: each becomes a message on the registered ports.
  void batteryChanged();
  void backlightChanged();
  void willSleep(intptr_t id);
  void poweredOn();

 private:
  class Entry;
  class Port;
  struct Interest;
  class InterestRegistration;

  void deliver(const Entry& entry, uint32_t messageType, intptr_t argument);

  BatterySource& battery_;
  BacklightSource& backlight_;
  LogindSleep* sleep_ = nullptr;
  std::shared_ptr<Entry> batteryEntry_;
  std::shared_ptr<Entry> backlightEntry_;
  std::shared_ptr<Entry> rootDomain_;
  Mutex mutex_;
  std::vector<std::shared_ptr<Interest>> interests_ TL_GUARDED_BY(mutex_);
};

}  // namespace tl::linuxdev
