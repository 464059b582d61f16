// DeviceRegistry and SystemPower: hardware services, their properties and interest messages,
// system sleep and wake messages, and the display brightness.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "base/status.h"
#include "platform/registration.h"
#include "platform/value.h"

namespace tl::platform {

class Queue;

// The registry's return codes, the codes of its failed statuses.
using ReturnCode = int32_t;
inline constexpr ReturnCode kReturnSuccess = 0;
inline constexpr ReturnCode kReturnError = static_cast<ReturnCode>(0xE00002BC);
inline constexpr ReturnCode kReturnBadArgument = static_cast<ReturnCode>(0xE00002C2);
inline constexpr ReturnCode kReturnNotFound = static_cast<ReturnCode>(0xE00002F0);

// Interest message types delivered to interest and system-power callbacks.
inline constexpr uint32_t kMessageServicePropertyChange = 0xE0000130;
inline constexpr uint32_t kMessageBatteryStatusChanged = 0xE0024100;
inline constexpr uint32_t kMessageCanSystemSleep = 0xE0000270;
inline constexpr uint32_t kMessageSystemWillSleep = 0xE0000280;
inline constexpr uint32_t kMessageSystemHasPoweredOn = 0xE0000300;
inline constexpr uint32_t kMessageSystemWillPowerOn = 0xE0000320;

inline constexpr char kGeneralInterest[] = "DVGeneralInterest";
inline constexpr char kPropertyMatchKey[] = "DVPropertyMatch";

// The registry class of the battery entry. Its properties are the battery's dictionary under
// the names the power side reads ("CurrentCapacity", "MaxCapacity", "Voltage", "IsCharging",
// "AdapterInfo", ...), capacities in mAh and voltages in mV.
inline constexpr char kBatteryClass[] = "DVPMPowerSource";

// A service in the registry. Holding the pointer retains it; the last holder releases it.
class RegistryEntry {
 public:
  virtual ~RegistryEntry() = default;
};
using RegistryEntryRef = std::shared_ptr<RegistryEntry>;

// A port on which interest messages arrive; they are delivered on its dispatch queue. Destroying
// the port stops delivery.
class NotificationPort {
 public:
  virtual ~NotificationPort() = default;
  virtual void setDispatchQueue(Queue& queue) = 0;
};

// service is the entry that sent the message; argument is the message's argument.
using InterestCallback =
    std::function<void(const RegistryEntryRef& service, uint32_t messageType, intptr_t argument)>;

class DeviceRegistry {
 public:
  virtual ~DeviceRegistry() = default;
  // The first service of that class, or nullptr.
  virtual RegistryEntryRef matchServiceByClass(const std::string& className) = 0;
  // The first service matching a dictionary such as {"DVPropertyMatch": {"backlight-control":
  // true}}, or nullptr.
  virtual RegistryEntryRef matchServiceByProperties(const Dictionary& matching) = 0;

  virtual std::unique_ptr<NotificationPort> createNotificationPort() = 0;
  // Registers callback for the messages of service through port. A null service fails with
  // kReturnBadArgument.
  virtual Status addInterestNotification(NotificationPort& port, const RegistryEntryRef& service,
                                         const std::string& interestType, InterestCallback callback,
                                         std::unique_ptr<Registration>* out) = 0;

  // All of a service's properties as they are now, as one snapshot that never changes: a read
  // after the service changed gets a new one, reads in between may share the same.
  virtual Status properties(const RegistryEntry& entry, std::shared_ptr<const Dictionary>* out) = 0;
  // One property, read anew; nullopt when absent.
  virtual std::optional<Value> property(const RegistryEntry& entry, const std::string& key) = 0;

  // The display brightness as a fraction of full brightness.
  virtual float displayBrightness() = 0;
};

// argument is the message's notification identifier, the one to acknowledge.
using SystemPowerCallback = std::function<void(uint32_t messageType, intptr_t argument)>;

// What a system-power registration hands back. Its messages arrive on the port's queue once one
// is set; destroying the notifier deregisters; the connection is closed on its own.
struct SystemPowerConnection {
  uint32_t rootDomainConnect = 0;  // 0 when the registration failed
  std::unique_ptr<NotificationPort> port;
  std::unique_ptr<Registration> notifier;
};

// Sleep is held back until every can-sleep and will-sleep message is acknowledged.
class SystemPower {
 public:
  virtual ~SystemPower() = default;
  virtual SystemPowerConnection registerForSystemPower(SystemPowerCallback callback) = 0;
  virtual Status allowPowerChange(uint32_t rootDomainConnect, intptr_t notificationId) = 0;
  virtual Status closeConnection(uint32_t rootDomainConnect) = 0;
};

}  // namespace tl::platform
