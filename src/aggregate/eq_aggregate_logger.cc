// EQAggregateLogger: start-up, the device queries and the event step.
#include "aggregate/eq_aggregate_logger.h"

#include <cmath>
#include <cstdio>
#include <limits>

#include "base/saturated_cast.h"
#include "platform/backlight.h"
#include "platform/platform.h"
#include "platform/statistics_keys.h"
#include "power/eq_battery_properties.h"
#include "power/eq_notifications.h"

namespace {

using tl::platform::Dictionary;
using tl::platform::Value;

constexpr double kMaxBookedSeconds = 86400;
constexpr double kMaxEnergyDelta = 10000;

int32_t WholeSeconds(double seconds) {
  if (!(seconds > INT32_MIN && seconds < INT32_MAX)) return 0;
  return static_cast<int32_t>(seconds);
}

std::string StateKey(const char* name, const char* measure) {
  return std::string(tl::platform::kPowerStateKeyPrefix) + name + "." + measure;
}

}  // namespace

EQAggregateLogger::EQAggregateLogger() : baseStates_(kBaseStates) {
  for (const auto& composite : EQCompositeStates()) {
    compositeStates_.emplace(composite.name,
                             EQAggregateState::stateWithSubstateIndices(composite.indices));
  }
  for (auto& [name, state] : compositeStates_) {
    const char* n = name.c_str();
    commitSlots_.emplace_back(
        &state, Slots{&commitKeys_[StateKey(n, "duration")], &commitKeys_[StateKey(n, "energy")],
                      &commitKeys_[StateKey(n, "energyAbsolute")],
                      &commitKeys_[StateKey(n, "energyRaw")], &commitKeys_[StateKey(n, "count")]});
  }
  userSetting_ = &commitKeys_[tl::platform::kBacklightUserSettingKey];
  auto lpmSlot = lpmSlots_.begin();
  for (const char* name : {"unplugged_lpm_on_24hr", "unplugged_lpm_off_24hr"}) {
    for (const char* measure : {"energy", "energyAbsolute", "energyRaw"}) {
      *lpmSlot++ = &commitKeys_[StateKey(name, measure)];
    }
  }
  fixedKeys_ = commitKeys_.size();

  auto& platform = tl::platform::Current();
  auto battery = EQBatteryProperties::init();
  lastTime_ = platform.clock().now();
  Readings readings = Read(*battery);
  lastVoltage_ = readings.voltage;
  lastCurrentCapacity_ = readings.capacity;
  lastCurrentCapacityAbsolute_ = readings.absolute;
  lastCurrentCapacityRaw_ = readings.raw;
  lastLPMStatus_ = getCurrentLPMState();
  // The replay's first commits run before its low-power-mode event and already count as low-power
  // mode off, which clears lastLPMStatus; the event itself carries the state read here.
  const bool lowPowerModeAtStart = lastLPMStatus_;
  currentBatteryLevel_ = BatteryLevel(*battery);
  currentState_ = 0;

  // The present conditions, replayed as full events: five commits, with exits of the states the
  // replay leaves.
  auto present = EQBatteryProperties::init();
  handleEvent(kEQEventCharging, present->isCharging());
  handleEvent(kEQEventPluggedIn, present->isPluggedIn());
  handleEvent(kEQEventAwake, 1);
  handleEvent(kEQEventDisplayOn, getCurrentDisplayState());
  handleEvent(kEQEventLowPowerMode, lowPowerModeAtStart);

  auto& center = platform.notificationCenter();
  using Handler = void (EQAggregateLogger::*)(const tl::platform::Notification&);
  const std::pair<const char*, Handler> observed[] = {
      {EQDeviceDidWakeNotification, &EQAggregateLogger::handleWake},
      {EQDeviceWillSleepNotification, &EQAggregateLogger::handleSleep},
      {EQDeviceBacklightOnNotification, &EQAggregateLogger::handleScreenOn},
      {EQDeviceBacklightOffNotification, &EQAggregateLogger::handleScreenOff},
      {EQBatteryStatusDidChangeNotification, &EQAggregateLogger::handleBatteryStatus},
      {EQLPMStatusDidChangeNotification, &EQAggregateLogger::handleLPMStatus},
  };
  observers_.reserve(std::size(observed));
  for (const auto& entry : observed) {
    observers_.push_back(center.addObserver(
        entry.first, [this, handler = entry.second](const tl::platform::Notification& n) {
          (this->*handler)(n);
        }));
  }
}

EQAggregateLogger::~EQAggregateLogger() {
  observers_.clear();
  baseStates_.clear();
  compositeStates_.clear();
}

EQAggregateLogger::Readings EQAggregateLogger::Read(const EQBatteryProperties& battery) {
  Readings r;
  r.voltage = battery.voltage() / 1000.0;
  // Without a gas gauge all three are the raw percentage, and the energies are volts times
  // percent: the same arithmetic is applied to them on purpose.
  r.capacity =
      EQBatteryProperties::gasGaugeEnabled() ? battery.currentCapacity() : battery.rawCapacity();
  r.absolute = EQBatteryProperties::gasGaugeEnabled() ? battery.currentAbsoluteCapacity()
                                                      : battery.rawCapacity();
  r.raw =
      EQBatteryProperties::gasGaugeEnabled() ? battery.rawCurrentCapacity() : battery.rawCapacity();
  return r;
}

TL_IEEE_DIVISION uint32_t EQAggregateLogger::BatteryLevel(const EQBatteryProperties& battery) {
  // Whatever the gas gauge says: a multiple of ten, rounded up. Without capacities, 0 / 0 is
  // NaN and the level 0.
  return tl::SaturatedCast<uint32_t>(
      std::ceil(battery.currentCapacity() / battery.maxCapacity() * 10.0) * 10.0);
}

double EQAggregateLogger::backlightLevel() {
  return static_cast<double>(tl::platform::Current().registry().displayBrightness());
}

bool EQAggregateLogger::getCurrentDisplayState() {
  auto& registry = tl::platform::Current().registry();
  // Any failure reads as the display being on.
  auto service = tl::platform::MatchBacklight(registry);
  if (!service) return true;
  auto brightness = tl::platform::ReadBrightness(registry, *service);
  const Value* value = brightness ? Find(*brightness, "value") : nullptr;
  if (!value) return true;
  return value->intValue() > 0;
}

bool EQAggregateLogger::getCurrentLPMState() {
  auto& notifications = tl::platform::Current().namedNotifications();
  std::unique_ptr<tl::platform::NotifyRegistration> check;
  if (!notifications.registerCheck(tl::platform::kBatterySaverModeNotification, &check).ok()) {
    return false;
  }
  uint64_t state = 0;
  // A failed read leaves the state 0; the check registration is cancelled as it goes.
  notifications.getState(check->token(), &state).IgnoreError();
  return state == 1;
}

void EQAggregateLogger::handleEvent(int event, int withStatus) {
  const uint32_t old = currentState_;
  EQAggregateState& leaving = baseStates_[old & 31];
  const double now = tl::platform::Current().clock().now();

  double duration = 0;
  double delta = 0;
  double deltaAbsolute = 0;
  double deltaRaw = 0;
  // Within the same whole second nothing is measured and nothing of the last event moves.
  if (WholeSeconds(now) != WholeSeconds(lastTime_)) {
    // Every power event measures the battery: the snapshot lives on this stack and shares the
    // registry's dictionary, so the measurement allocates nothing.
    const EQBatteryProperties battery(EQBatteryProperties::findBatteryEntry());
    const Readings now_ = Read(battery);
    const double averageVoltage = (now_.voltage + lastVoltage_) * 0.5;
    deltaRaw = averageVoltage * (now_.raw - lastCurrentCapacityRaw_);
    deltaAbsolute = averageVoltage * (now_.absolute - lastCurrentCapacityAbsolute_);
    delta = averageVoltage * (now_.capacity - lastCurrentCapacity_);
    // Plugged in and charging keeps only gains; everything else, charging while unplugged too,
    // keeps only drains.
    const bool gainsOnly = (old & 8u) && (old & 1u);
    for (double* d : {&delta, &deltaAbsolute, &deltaRaw}) {
      if (gainsOnly ? *d < 0.0 : *d > 0.0) *d = 0.0;
    }
    duration = now - lastTime_;
    lastVoltage_ = now_.voltage;
    lastCurrentCapacity_ = now_.capacity;
    lastCurrentCapacityAbsolute_ = now_.absolute;
    lastCurrentCapacityRaw_ = now_.raw;
    lastTime_ = now;  // the same instant as the measurement: no time is lost or counted twice
    if (event == kEQEventLowPowerMode) currentBatteryLevel_ = BatteryLevel(battery);
  }

  // Energy is booked positive for a drain. Intervals that are impossible, or whose three energy
  // readings all jumped, are discarded; the state change and the commit still happen.
  if (duration >= 0 && duration <= kMaxBookedSeconds &&
      (std::fabs(delta) < kMaxEnergyDelta || std::fabs(deltaAbsolute) < kMaxEnergyDelta ||
       std::fabs(deltaRaw) < kMaxEnergyDelta)) {
    leaving.setTime(duration, -delta, -deltaAbsolute, -deltaRaw);
  }

  uint32_t next = old;
  if (event >= 0 && event < 32) {
    next = (old & ~(1u << event)) | (static_cast<uint32_t>(withStatus) << event);
  }
  if (next != old) {
    leaving.incrementCount();
    // A composite counts the times it was left, not moves between its own base states.
    for (auto& [name, composite] : compositeStates_) {
      const EQStateSet set = composite.substateIndices();
      if (set.contains(old) && !set.contains(next)) composite.incrementCount();
    }
  }
  currentState_ = next;

  for (auto& [state, slots] : commitSlots_) {
    EQAggregateState& composite = *state;
    composite.updateCompositeStateWithBaseStates(baseStates_);
    *slots.duration = tl::SaturatedRound<long long>(composite.time());
    *slots.energy = tl::SaturatedRound<long long>(composite.energy());
    *slots.energyAbsolute = tl::SaturatedRound<long long>(composite.energyAbsolute());
    *slots.energyRaw = tl::SaturatedRound<long long>(composite.energyRaw());
    *slots.count = static_cast<long long>(composite.count());
  }
  for (const auto& [name, composite] : compositeStates_)
    handleLPMEvent(name, commitKeys_, composite);
  // Whole percent, truncated.
  *userSetting_ =
      static_cast<unsigned long long>(tl::SaturatedCast<uint64_t>(backlightLevel() * 100.0));
  TLClientBatchKeys(&commitKeys_, nullptr);
  // An enable or disable key belongs to the commit that made it.
  if (commitKeys_.size() > fixedKeys_) {
    std::erase_if(commitKeys_, [](const auto& entry) {
      return entry.first.ends_with(".LPM.enable") || entry.first.ends_with(".LPM.disable");
    });
  }

  for (auto& base : baseStates_) base.resetStats();
  for (auto& [name, composite] : compositeStates_) composite.resetStats();
}

void EQAggregateLogger::handleScreenOn(const tl::platform::Notification&) {
  handleEvent(kEQEventDisplayOn, 1);
}

void EQAggregateLogger::handleScreenOff(const tl::platform::Notification&) {
  handleEvent(kEQEventDisplayOn, 0);
}

void EQAggregateLogger::handleSleep(const tl::platform::Notification&) {
  handleEvent(kEQEventAwake, 0);
}

void EQAggregateLogger::handleBatteryStatus(const tl::platform::Notification& notification) {
  const Value* value = Find(notification.userInfo, EQBatteryStatusPropertiesKey);
  const auto* battery = value ? dynamic_cast<const EQBatteryProperties*>(value->object()) : nullptr;
  if (!battery) return;
  // Two commits: the second normally falls into the same second and books nothing.
  handleEvent(kEQEventPluggedIn, battery->isPluggedIn());
  handleEvent(kEQEventCharging, battery->isCharging());
}

void EQAggregateLogger::handleLPMStatus(const tl::platform::Notification& notification) {
  // Keyed by the notification's own name, as the power listener posts it.
  const Value* status = Find(notification.userInfo, notification.name);
  const Value* value = status ? status->find("value") : nullptr;
  handleEvent(kEQEventLowPowerMode, value && value->longLongValue() == 1 ? 1 : 0);
}
