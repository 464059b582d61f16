// PowerTimeline: the present conditions at start, the notifications and the rows they make.
#include "host/store/power_timeline.h"

#include <cmath>
#include <cstdio>

#include "platform/backlight.h"
#include "platform/power_notification_names.h"

namespace tl::host {

namespace {

// The module's in-process power notifications, and the keys of what they carry.
constexpr char kWake[] = TL_DEVICE_DID_WAKE_NOTIFICATION;
constexpr char kWakeReasonKey[] = TL_DEVICE_DID_WAKE_SYSTEM_REASON_KEY;
constexpr char kSleep[] = TL_DEVICE_WILL_SLEEP_NOTIFICATION;
constexpr char kBacklightOn[] = TL_DEVICE_BACKLIGHT_ON_NOTIFICATION;
constexpr char kBacklightOff[] = TL_DEVICE_BACKLIGHT_OFF_NOTIFICATION;
constexpr char kBattery[] = TL_BATTERY_STATUS_DID_CHANGE_NOTIFICATION;
constexpr char kBatteryKey[] = TL_BATTERY_STATUS_PROPERTIES_KEY;
constexpr char kLowPowerMode[] = TL_LPM_STATUS_DID_CHANGE_NOTIFICATION;

bool BoolOf(const platform::Dictionary& battery, const char* key) {
  const platform::Value* v = platform::Find(battery, key);
  return v && v->boolValue();
}

std::optional<double> NumberOf(const platform::Dictionary& battery, const char* key) {
  const platform::Value* v = platform::Find(battery, key);
  if (!v || !v->isNumber()) return std::nullopt;
  return v->doubleValue();
}

// The registry's snapshot of the battery's properties, shared rather than copied; null when the
// device has no battery or it cannot be read.
std::shared_ptr<const platform::Dictionary> ReadBattery(platform::DeviceRegistry& registry) {
  platform::RegistryEntryRef entry = registry.matchServiceByClass(platform::kBatteryClass);
  std::shared_ptr<const platform::Dictionary> properties;
  if (!entry || !registry.properties(*entry, &properties).ok()) return nullptr;
  return properties;
}

// The display reads as on unless the backlight says its value is 0, as the module reads it.
bool DisplayOn(platform::DeviceRegistry& registry) {
  platform::RegistryEntryRef backlight = platform::MatchBacklight(registry);
  if (!backlight) return true;
  std::optional<platform::Dictionary> brightness = platform::ReadBrightness(registry, *backlight);
  const platform::Value* value = brightness ? platform::Find(*brightness, "value") : nullptr;
  return !value || value->intValue() > 0;
}

bool LowPowerModeOn(platform::NamedNotifications& named) {
  std::unique_ptr<platform::NotifyRegistration> check;
  if (!named.registerCheck(platform::kBatterySaverModeNotification, &check).ok()) return false;
  uint64_t state = 0;
  return named.getState(check->token(), &state).ok() && state == 1;
}

}  // namespace

// As "%04d-%02d-%02d" prints it: a power commit asks for its day every time, and
// printf's parsing of the format costs more than the digits.
std::string DayText(const platform::LocalTime& t) {
  if (t.year < 0 || t.year > 9999 || t.month < 0 || t.month > 99 || t.day < 0 || t.day > 99) {
    char day[40];
    std::snprintf(day, sizeof day, "%04d-%02d-%02d", t.year, t.month, t.day);
    return day;
  }
  std::string day = "0000-00-00";
  auto put = [&](size_t end, int value) {
    for (size_t i = end; value != 0; value /= 10) day[--i] = static_cast<char>('0' + value % 10);
  };
  put(4, t.year);
  put(7, t.month);
  put(10, t.day);
  return day;
}

DeviceMoment Now(platform::Platform& device) {
  const double wallClock = device.clock().now();
  return platform::MomentAt(wallClock, wallClock, device.environment());
}

TimelineRow RowAt(const DeviceMoment& moment, const char* event) {
  TimelineRow row;
  row.at = moment.wallClock;
  row.day = DayText(moment.local);
  row.utcOffset = moment.local.utcOffsetSeconds;
  row.event = event;
  return row;
}

PowerTimeline::PowerTimeline(platform::Platform& device, Write write)
    : device_(device), write_(std::move(write)) {}

PowerTimeline::~PowerTimeline() = default;

void PowerTimeline::start() {
  const std::shared_ptr<const platform::Dictionary> battery = ReadBattery(device_.registry());
  state_ = kStateAwake;
  if (battery) {
    setBit(kStatePlugged, BoolOf(*battery, "AdapterInfo"));
    setBit(kStateCharging, BoolOf(*battery, "IsCharging"));
  }
  setBit(kStateDisplay, DisplayOn(device_.registry()));
  setBit(kStateLowPowerMode, LowPowerModeOn(device_.namedNotifications()));
  started_ = true;
  write(kEventStart, battery.get());
  observer_ = device_.notificationCenter().addObserver(
      "", [this](const platform::Notification& n) { observe(n); });
}

void PowerTimeline::stop() {
  observer_.reset();
  write(kEventStop);
  started_ = false;
}

void PowerTimeline::observe(const platform::Notification& n) {
  if (n.name == kWake) {
    setBit(kStateAwake, true);
    const platform::Value* reason = platform::Find(n.userInfo, kWakeReasonKey);
    const std::string text = reason && reason->string() ? *reason->string() : "";
    write(kEventWake, nullptr, &text);
  } else if (n.name == kSleep) {
    setBit(kStateAwake, false);
    write(kEventSleep);
  } else if (n.name == kBacklightOn || n.name == kBacklightOff) {
    setBit(kStateDisplay, n.name == kBacklightOn);
    write(n.name == kBacklightOn ? kEventScreenOn : kEventScreenOff);
  } else if (n.name == kBattery) {
    const platform::Value* snapshot = platform::Find(n.userInfo, kBatteryKey);
    const platform::Object* object = snapshot ? snapshot->object() : nullptr;
    // The snapshot's own dictionary where it lends one: a battery event is frequent, and its
    // description is a copy of some thirty properties.
    const platform::Dictionary* battery = object ? object->describedDictionary() : nullptr;
    const platform::Value described = object && !battery ? object->describe() : platform::Value();
    if (!battery) battery = described.dictionary();
    setBit(kStatePlugged, battery && BoolOf(*battery, "AdapterInfo"));
    setBit(kStateCharging, battery && BoolOf(*battery, "IsCharging"));
    write(kEventBattery, battery);
  } else if (n.name == kLowPowerMode) {
    const platform::Value* change = platform::Find(n.userInfo, kLowPowerMode);
    const platform::Value* value = change ? change->find("value") : nullptr;
    setBit(kStateLowPowerMode, value && value->longLongValue() == 1);
    write(kEventLowPowerMode);
  }
}

void PowerTimeline::write(const char* event, const platform::Dictionary* battery,
                          const std::string* wakeReason) {
  TimelineRow row = RowAt(Now(device_), event);
  if (started_) row.state = state_;
  std::shared_ptr<const platform::Dictionary> read;
  if (!battery) {
    read = ReadBattery(device_.registry());
    battery = read.get();
  }
  if (battery) {
    row.capacity = NumberOf(*battery, "CurrentCapacity");
    row.maxCapacity = NumberOf(*battery, "MaxCapacity");
    row.voltage = NumberOf(*battery, "Voltage");
    if (row.capacity && row.maxCapacity && *row.maxCapacity > 0) {
      row.level = *row.capacity / *row.maxCapacity * 100.0;
    }
  }
  // The brightness is a single-precision fraction: a tenth of a percent is all it holds.
  row.brightness =
      std::round(static_cast<double>(device_.registry().displayBrightness()) * 1000.0) / 10.0;
  if (wakeReason) row.wakeReason = *wakeReason;
  write_(row);
}

}  // namespace tl::host
