// TLPowerEventListener: construction, the registry and system-power callbacks, and the power
// notifications they post.
#include "power/tl_power_event_listener.h"

#include <cctype>
#include <cerrno>

#include "core/core_state.h"
#include "platform/backlight.h"
#include "platform/platform.h"
#include "power/brightness_buckets.h"
#include "power/eq_battery_properties.h"
#include "power/eq_notifications.h"
#include "power/power_state.h"

namespace {

using tl::platform::Dictionary;
using tl::platform::Value;

constexpr double kDay = 86400;
constexpr double kDailyLeeway = 600;  // the daily reports may fire ten minutes late

std::string Trimmed(std::string text) {
  auto space = [](unsigned char c) { return std::isspace(c) != 0; };
  while (!text.empty() && space(text.back())) text.pop_back();
  size_t start = 0;
  while (start < text.size() && space(text[start])) ++start;
  return text.substr(start);
}

}  // namespace

TLPowerEventListener::TLPowerEventListener() = default;

std::unique_ptr<TLPowerEventListener> TLPowerEventListener::initWithQueue(
    tl::platform::SerialQueue& queue) {
  auto& platform = tl::platform::Current();
  auto& registry = platform.registry();
  auto listener = std::make_unique<TLPowerEventListener>();
  const tl::WeakBinder<TLPowerEventListener>& weak = listener->weak_;

  listener->_loggingQueue = platform.dispatch().createSerialQueue(
      "WattloggingBGQueue",
      platform.dispatch().globalQueue(tl::platform::QualityOfService::kBackground));
  listener->ioNotifyPort = registry.createNotificationPort();
  listener->ioNotifyPort->setDispatchQueue(queue);

  // A missing battery entry is not tested: the interest call's error takes the failure path.
  // The registration is kept for the process, on purpose: it is never released.
  listener->batteryEntry = registry.matchServiceByClass(tl::platform::kBatteryClass);
  std::unique_ptr<tl::platform::Registration> battery;
  tl::Status added = registry.addInterestNotification(
      *listener->ioNotifyPort, listener->batteryEntry, tl::platform::kGeneralInterest,
      weak.bind([](TLPowerEventListener& self, const tl::platform::RegistryEntryRef& service,
                   uint32_t type, intptr_t) {
        if (type != tl::platform::kMessageBatteryStatusChanged) return;
        self.batteryStatusChanged(std::make_shared<EQBatteryProperties>(service));
      }),
      &battery);
  if (!added.ok()) {
    TLLog("Error calling DVServiceAddInterestNotification (0x%08x)",
          static_cast<unsigned>(added.code()));
    return nullptr;
  }
  tl::core::KeepForProcess(std::move(battery));

  // The result is not checked: without a connection, sleep messages are simply not acknowledged.
  auto power = platform.systemPower().registerForSystemPower(
      weak.bind([](TLPowerEventListener& self, uint32_t type, intptr_t argument) {
        self.systemPowerCallback(type, argument);
      }));
  listener->_rootDomainConnect = power.rootDomainConnect;
  listener->pmNotifier = std::move(power.notifier);
  listener->systemPowerPortRef = std::move(power.port);
  if (listener->systemPowerPortRef) listener->systemPowerPortRef->setDispatchQueue(queue);

  listener->backlightService = tl::platform::MatchBacklight(registry);
  added = registry.addInterestNotification(
      *listener->ioNotifyPort, listener->backlightService, tl::platform::kGeneralInterest,
      weak.bind([](TLPowerEventListener& self, const tl::platform::RegistryEntryRef& service,
                   uint32_t type, intptr_t) {
        if (type != tl::platform::kMessageServicePropertyChange) return;
        self.backlightChanged(service);
      }),
      &listener->notificationRef);
  if (!added.ok()) {
    TLLog("Error calling DVServiceAddInterestNotification for backlight service (0x%08x)",
          static_cast<unsigned>(added.code()));
    return nullptr;
  }

  listener->_loggingQueue->async(
      weak.bind([](TLPowerEventListener& self) { self.initialBrightnessRead(); }));
  listener->setupBatterySaverModeForNotification(tl::platform::kBatterySaverModeNotification);
  listener->logSupStats();

  // The daily reports run on the host's queue, where construction happened; they are never
  // invalidated.
  auto& dispatch = platform.dispatch();
  tl::core::KeepForProcess(dispatch.scheduleRepeatingTimer(
      queue, kDay, kDailyLeeway,
      weak.bind([](TLPowerEventListener& self) { self.logSupStats(); })));
  tl::core::KeepForProcess(dispatch.scheduleRepeatingTimer(
      queue, kDay, kDailyLeeway,
      weak.bind([](TLPowerEventListener& self) { self.logBrightnessBuckets(); })));
  return listener;
}

void TLPowerEventListener::setupBatterySaverModeForNotification(const std::string& name) {
  auto& platform = tl::platform::Current();
  tl::power::PowerState& state = tl::power::Power();
  std::call_once(state.lpmQueueOnce, [&] {
    state.lpmQueue =
        platform.dispatch().createSerialQueue("", tl::platform::QualityOfService::kDefault);
  });
  _LPMNotificationQueue = state.lpmQueue.get();
  // The registration is kept for the process, and its token is not: it is never cancelled. No
  // state is read now: the first notification comes with the first change.
  std::unique_ptr<tl::platform::NotifyRegistration> registration;
  platform.namedNotifications()
      .registerDispatch(
          name, *_LPMNotificationQueue,
          weak_.bind([name](TLPowerEventListener& self, int32_t fired) {
            uint64_t state = 0;
            if (!tl::platform::Current().namedNotifications().getState(fired, &state).ok()) {
              return;
            }
            self.LPMStatusChanged(
                {{"mode", name}, {"value", static_cast<unsigned long long>(state)}});
          }),
          &registration)
      .IgnoreError();
  tl::core::KeepForProcess(std::move(registration));
}

TLPowerEventListener::~TLPowerEventListener() {
  weak_.invalidate();
  auto& platform = tl::platform::Current();
  ioNotifyPort.reset();
  notificationRef.reset();
  batteryEntry.reset();
  pmNotifier.reset();
  systemPowerPortRef.reset();
  if (_rootDomainConnect) platform.systemPower().closeConnection(_rootDomainConnect).IgnoreError();
  _rootDomainConnect = 0;
  backlightService.reset();
  prev_ifmsupp_pstats.clear();
  _loggingQueue.reset();
}

void TLPowerEventListener::initialBrightnessRead() {
  maxBright = -1;
  minBright = -1;
  if (!backlightService) return;
  auto brightness =
      tl::platform::ReadBrightness(tl::platform::Current().registry(), *backlightService);
  if (!brightness) return;
  // Each is stored as soon as it is found; the first missing one ends the read.
  const Value* min = Find(*brightness, "min");
  if (!min) return;
  minBright = min->intValue();
  const Value* max = Find(*brightness, "max");
  if (!max) return;
  maxBright = max->intValue();
  const Value* value = Find(*brightness, "value");
  if (!value) return;
  bucketize(value->intValue());
}

void TLPowerEventListener::backlightChanged(const tl::platform::RegistryEntryRef& service) {
  _loggingQueue->async([this, service] {
    // An unreadable backlight reads as off.
    auto brightness = tl::platform::ReadBrightness(tl::platform::Current().registry(), *service);
    const Value* reading = brightness ? Find(*brightness, "value") : nullptr;
    const int32_t value = reading ? reading->intValue() : 0;
    bucketize(value);
    const int32_t on = value >= 1 ? 1 : 0;
    int32_t& backlightOn = tl::power::Power().backlightOn;
    if (backlightOn != on) {
      tl::platform::Current().notificationCenter().post(
          on ? EQDeviceBacklightOnNotification : EQDeviceBacklightOffNotification, nullptr);
      backlightOn = on;
    }
  });
}

void TLPowerEventListener::systemPowerCallback(uint32_t messageType, intptr_t argument) {
  auto& platform = tl::platform::Current();
  switch (messageType) {
    case tl::platform::kMessageCanSystemSleep:
    case tl::platform::kMessageSystemWillSleep:
      // Posting is synchronous: every observer is done before the system may sleep.
      platform.notificationCenter().post(messageType == tl::platform::kMessageCanSystemSleep
                                             ? EQDeviceCanSleepNotification
                                             : EQDeviceWillSleepNotification,
                                         this);
      platform.systemPower().allowPowerChange(_rootDomainConnect, argument).IgnoreError();
      break;
    case tl::platform::kMessageSystemHasPoweredOn:
      systemPoweredOn();
      break;
    default:
      break;
  }
}

void TLPowerEventListener::systemPoweredOn() {
  tl::platform::Current().notificationCenter().post(
      EQDeviceDidWakeNotification, this, {{EQDeviceDidWakeSystemReasonKey, wakeReason()}});
}

std::string TLPowerEventListener::wakeReason() {
  char reason[256] = {};
  size_t length = sizeof reason;
  if (tl::platform::Current().kernel().sysctlByName("kern.wakereason", reason, &length) < 0) {
    TLLog("Could not get wake reason (errno: %d)", errno);
    return "<unknown>";
  }
  reason[sizeof reason - 1] = '\0';
  return Trimmed(reason);
}

void TLPowerEventListener::batteryStatusChanged(std::shared_ptr<EQBatteryProperties> properties) {
  std::shared_ptr<const tl::platform::Object> object = std::move(properties);
  tl::platform::Current().notificationCenter().post(EQBatteryStatusDidChangeNotification, this,
                                                    {{EQBatteryStatusPropertiesKey, object}});
}

void TLPowerEventListener::LPMStatusChanged(Dictionary status) {
  // Keyed by the notification's own name, as observers expect.
  tl::platform::Current().notificationCenter().post(
      EQLPMStatusDidChangeNotification, this,
      {{EQLPMStatusDidChangeNotification, std::move(status)}});
}

bool TLPowerEventListener::nonUIBuild() {
  tl::power::PowerState& state = tl::power::Power();
  std::call_once(state.nonUIOnce, [&state] {
    auto release = tl::platform::Current().environment().deviceAnswer("ReleaseType");
    // Unknown counts as a build without a user interface.
    state.nonUIBuild = !release || (release->string() && *release->string() == "NonUI");
  });
  return state.nonUIBuild;
}
