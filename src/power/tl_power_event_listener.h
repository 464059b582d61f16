// TLPowerEventListener: turns the device's sleep, wake, battery, backlight and low-power-mode
// events into the module's in-process power notifications, and runs the daily brightness and
// network reports.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/weak_binder.h"
#include "platform/device_registry.h"
#include "platform/dispatch.h"
#include "platform/value.h"

class EQBatteryProperties;

// Registry and system-power callbacks arrive on the host's event queue; backlight readings and
// the brightness report run on the logging queue; low-power-mode changes on the low-power-mode
// queue. No lock is taken: each piece of state is touched from one queue only.
class TLPowerEventListener {
 public:
  // Empty when an interest registration fails; the hub then goes on without the listener.
  static std::unique_ptr<TLPowerEventListener> initWithQueue(tl::platform::SerialQueue& queue);
  // Registers for a system-wide named notification whose state is the low-power mode.
  void setupBatterySaverModeForNotification(const std::string& name);
  ~TLPowerEventListener();  // dealloc, in its documented order

  // Network supplemental statistics.
  void logSupStats();
  std::shared_ptr<std::vector<uint8_t>> getCurrentSupplementalDataForInterface(const char* name);
  void validateCurrentStatistics(const std::vector<uint8_t>& current,
                                 std::vector<uint8_t>& withPrevious);
  void logNetworkSupplementalStatsForInterface(const char* name);

  // The kernel's trimmed wake reason, or "<unknown>".
  std::string wakeReason();
  void systemPoweredOn();
  void batteryStatusChanged(std::shared_ptr<EQBatteryProperties> properties);
  void LPMStatusChanged(tl::platform::Dictionary status);

  // Brightness buckets: a reading (or -1 to credit the running interval), and the daily report.
  void bucketize(int32_t value);
  void logBrightnessBuckets();

  uint32_t rootDomainConnect() const { return _rootDomainConnect; }
  void setRootDomainConnect(uint32_t v) { _rootDomainConnect = v; }
  tl::platform::SerialQueue& loggingQueue() { return *_loggingQueue; }
  tl::platform::SerialQueue* LPMNotificationQueue() { return _LPMNotificationQueue; }

  // Whether this is a build without a user interface; an unknown release type counts as one.
  static bool nonUIBuild();

  TLPowerEventListener();  // through initWithQueue

 private:
  void systemPowerCallback(uint32_t messageType, intptr_t argument);
  void backlightChanged(const tl::platform::RegistryEntryRef& service);
  void initialBrightnessRead();

  std::unique_ptr<tl::platform::NotificationPort> ioNotifyPort;
  std::unique_ptr<tl::platform::Registration> notificationRef;  // the backlight's interest
  tl::platform::RegistryEntryRef batteryEntry;
  uint32_t _rootDomainConnect = 0;
  std::unique_ptr<tl::platform::Registration> pmNotifier;  // destroying it deregisters
  std::unique_ptr<tl::platform::NotificationPort> systemPowerPortRef;
  double lastLogSupStats = 0;  // declared beside the network statistics; nothing uses it
  tl::platform::RegistryEntryRef backlightService;
  std::map<std::string, std::shared_ptr<std::vector<uint8_t>>> prev_ifmsupp_pstats;
  std::unique_ptr<tl::platform::SerialQueue> _loggingQueue;
  tl::platform::SerialQueue* _LPMNotificationQueue = nullptr;  // process-wide, never released
  // The registrations kept for the process (the battery's interest, low-power mode, the daily
  // timers) reach the listener through this, and do nothing once it is gone.
  tl::WeakBinder<TLPowerEventListener> weak_{*this};
};
