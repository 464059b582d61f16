// TLPowerEventListener: construction, the registry and system-power callbacks, and the power
// notifications they post.
#include "power/tl_power_event_listener.h"

#include <cctype>
#include <cerrno>
#include <mutex>

#include "core/no_destructor.h"
#include "platform/platform.h"
#include "power/brightness_buckets.h"
#include "power/eq_battery_properties.h"
#include "power/eq_notifications.h"

namespace {

using tl::platform::Dictionary;
using tl::platform::Value;

constexpr char kBatterySaverMode[] = "com.veltro.system.batterysavermode";
constexpr char kDisplayParameters[] = "DVDisplayParameters";
constexpr double kDay = 86400;
constexpr double kDailyLeeway = 600;  // the daily reports may fire ten minutes late

// What the listener sets up for the life of the process and never takes down: the battery's
// interest registration (its handle is not kept, on purpose), the two daily timers, and the
// low-power-mode queue.
struct ProcessLifetime {
  std::vector<std::unique_ptr<tl::platform::InterestNotification>> interests;
  std::vector<std::unique_ptr<tl::platform::Timer>> timers;
  std::unique_ptr<tl::platform::SerialQueue> lpmQueue;
  std::once_flag lpmQueueOnce;
};

ProcessLifetime& Lifetime() {
  static tl::NoDestructor<ProcessLifetime> lifetime;
  return *lifetime;
}

// The backlight's on/off state: -1 unknown, then 0 or 1. Touched only on the logging queue.
int32_t g_backlightOn = -1;

// The "brightness" dictionary of a service's display parameters, or nullptr.
const Dictionary* Brightness(const std::optional<Value>& parameters) {
  if (!parameters) return nullptr;
  const Value* brightness = parameters->find("brightness");
  return brightness ? brightness->dictionary() : nullptr;
}

std::string Trimmed(std::string text) {
  auto space = [](unsigned char c) { return std::isspace(c) != 0; };
  while (!text.empty() && space(text.back())) text.pop_back();
  size_t start = 0;
  while (start < text.size() && space(text[start])) ++start;
  return text.substr(start);
}

}  // namespace

TLPowerEventListener::TLPowerEventListener() : context_(std::make_shared<Context>(Context{this})) {}

std::unique_ptr<TLPowerEventListener> TLPowerEventListener::initWithQueue(
    tl::platform::SerialQueue& queue) {
  auto& platform = tl::platform::Current();
  auto& registry = platform.registry();
  auto listener = std::make_unique<TLPowerEventListener>();
  std::weak_ptr<Context> context = listener->context_;

  listener->_loggingQueue = platform.dispatch().createSerialQueue(
      "WattloggingBGQueue",
      platform.dispatch().globalQueue(tl::platform::QualityOfService::kBackground));
  listener->ioNotifyPort = registry.createNotificationPort();
  listener->ioNotifyPort->setDispatchQueue(queue);

  // A missing battery entry is not tested: the interest call's error takes the failure path.
  listener->batteryEntry = registry.matchServiceByClass(EQBatteryProperties::kBatteryClass);
  std::unique_ptr<tl::platform::InterestNotification> battery;
  auto result = registry.addInterestNotification(
      *listener->ioNotifyPort, listener->batteryEntry, tl::platform::kGeneralInterest,
      [context](const tl::platform::RegistryEntryRef& service, uint32_t type, intptr_t) {
        auto live = context.lock();
        if (!live || !live->listener || type != tl::platform::kMessageBatteryStatusChanged) return;
        live->listener->batteryStatusChanged(std::make_shared<EQBatteryProperties>(service));
      },
      &battery);
  if (result != tl::platform::kReturnSuccess) {
    TLLog("Error calling DVServiceAddInterestNotification (0x%08x)", static_cast<unsigned>(result));
    return nullptr;
  }
  Lifetime().interests.push_back(std::move(battery));

  auto power =
      platform.systemPower().registerForSystemPower([context](uint32_t type, intptr_t argument) {
        auto live = context.lock();
        if (live && live->listener) live->listener->systemPowerCallback(type, argument);
      });
  listener->_rootDomainConnect = power.rootDomainConnect;
  listener->pmNotifier = std::move(power.notifier);
  listener->systemPowerPortRef = std::move(power.port);
  if (listener->systemPowerPortRef) listener->systemPowerPortRef->setDispatchQueue(queue);

  listener->backlightService = registry.matchServiceByProperties(
      {{tl::platform::kPropertyMatchKey, Dictionary{{"backlight-control", true}}}});
  result = registry.addInterestNotification(
      *listener->ioNotifyPort, listener->backlightService, tl::platform::kGeneralInterest,
      [context](const tl::platform::RegistryEntryRef& service, uint32_t type, intptr_t) {
        auto live = context.lock();
        if (!live || !live->listener || type != tl::platform::kMessageServicePropertyChange) return;
        live->listener->backlightChanged(service);
      },
      &listener->notificationRef);
  if (result != tl::platform::kReturnSuccess) {
    TLLog("Error calling DVServiceAddInterestNotification for backlight service (0x%08x)",
          static_cast<unsigned>(result));
    return nullptr;
  }

  TLPowerEventListener* self = listener.get();
  listener->_loggingQueue->async([context] {
    auto live = context.lock();
    if (live && live->listener) live->listener->initialBrightnessRead();
  });
  listener->setupBatterySaverModeForNotification(kBatterySaverMode);
  self->logSupStats();

  // The daily reports run on the host's queue, where construction happened; they are never
  // invalidated.
  auto& dispatch = platform.dispatch();
  Lifetime().timers.push_back(dispatch.scheduleRepeatingTimer(queue, kDay, kDailyLeeway, [context] {
    auto live = context.lock();
    if (live && live->listener) live->listener->logSupStats();
  }));
  Lifetime().timers.push_back(dispatch.scheduleRepeatingTimer(queue, kDay, kDailyLeeway, [context] {
    auto live = context.lock();
    if (live && live->listener) live->listener->logBrightnessBuckets();
  }));
  return listener;
}

void TLPowerEventListener::setupBatterySaverModeForNotification(const std::string& name) {
  auto& platform = tl::platform::Current();
  ProcessLifetime& lifetime = Lifetime();
  std::call_once(lifetime.lpmQueueOnce, [&] {
    lifetime.lpmQueue =
        platform.dispatch().createSerialQueue("", tl::platform::QualityOfService::kDefault);
  });
  _LPMNotificationQueue = lifetime.lpmQueue.get();
  std::weak_ptr<Context> context = context_;
  int32_t token = 0;  // not kept: the registration is never cancelled
  // No state is read now: the first notification comes with the first change.
  platform.namedNotifications().registerDispatch(
      name, &token, *_LPMNotificationQueue, [context, name](int32_t fired) {
        uint64_t state = 0;
        if (tl::platform::Current().namedNotifications().getState(fired, &state) !=
            tl::platform::kNotifyStatusOk) {
          return;
        }
        auto live = context.lock();
        if (!live || !live->listener) return;
        live->listener->LPMStatusChanged(
            {{"mode", name}, {"value", static_cast<unsigned long long>(state)}});
      });
}

TLPowerEventListener::~TLPowerEventListener() {
  context_->listener = nullptr;
  auto& platform = tl::platform::Current();
  ioNotifyPort.reset();
  notificationRef.reset();
  batteryEntry.reset();
  if (pmNotifier) platform.systemPower().deregisterForSystemPower(*pmNotifier);
  systemPowerPortRef.reset();
  if (_rootDomainConnect) platform.systemPower().closeConnection(_rootDomainConnect);
  _rootDomainConnect = 0;
  backlightService.reset();
  prev_ifmsupp_pstats.clear();
  _loggingQueue.reset();
}

void TLPowerEventListener::initialBrightnessRead() {
  maxBright = -1;
  minBright = -1;
  if (!backlightService) return;
  auto parameters =
      tl::platform::Current().registry().property(*backlightService, kDisplayParameters);
  const Dictionary* brightness = Brightness(parameters);
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
    auto parameters = tl::platform::Current().registry().property(*service, kDisplayParameters);
    const Dictionary* brightness = Brightness(parameters);
    const Value* reading = brightness ? Find(*brightness, "value") : nullptr;
    const int32_t value = reading ? reading->intValue() : 0;
    bucketize(value);
    const int32_t on = value >= 1 ? 1 : 0;
    if (g_backlightOn != on) {
      tl::platform::Current().notificationCenter().post(
          on ? EQDeviceBacklightOnNotification : EQDeviceBacklightOffNotification, nullptr);
      g_backlightOn = on;
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
      platform.systemPower().allowPowerChange(_rootDomainConnect, argument);
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
  static const bool answer = [] {
    auto release = tl::platform::Current().environment().deviceAnswer("ReleaseType");
    if (!release) return true;  // unknown counts as a build without a user interface
    return release->string() && *release->string() == "NonUI";
  }();
  return answer;
}
