// The low-power-mode keys of every commit, and the wake-reason keys of every wake.
#include <array>
#include <cmath>
#include <cstdio>
#include <string_view>

#include "aggregate/eq_aggregate_logger.h"
#include "base/no_destructor.h"
#include "base/saturated_cast.h"
#include "platform/platform.h"
#include "platform/statistics_keys.h"
#include "power/eq_notifications.h"

namespace {

using tl::platform::KeyValues;
using tl::platform::kPowerStateKeyPrefix;
using tl::platform::kWakeCountKey;
using tl::platform::kWakeReasonKeyPrefix;

constexpr int32_t kNotCurrent = -1000000;

constexpr std::string_view kComponentTokens[] = {
    "aux",         "cellmodem", "shortlink",  "pinbridge", "antennas", "tmr",
    "spu_ferrite", "spu_press", "spu_motion", "bmon",      "dock",     "wnet"};
constexpr char kUserWakeKey[] = "com.veltro.power.wake_reasons.user";
constexpr std::string_view kUserTokens[] = {"grip", "home", "muter", "remote", "lidfold"};

// The three energy keys of a 24hr name; made once, since every commit writes all six.
struct EnergyKeys {
  std::string energy, energyAbsolute, energyRaw;
  explicit EnergyKeys(const std::string& name)
      : energy(kPowerStateKeyPrefix + name + ".energy"),
        energyAbsolute(kPowerStateKeyPrefix + name + ".energyAbsolute"),
        energyRaw(kPowerStateKeyPrefix + name + ".energyRaw") {}
};
const EnergyKeys& On24hr() {
  static const tl::NoDestructor<EnergyKeys> keys("unplugged_lpm_on_24hr");
  return *keys;
}
const EnergyKeys& Off24hr() {
  static const tl::NoDestructor<EnergyKeys> keys("unplugged_lpm_off_24hr");
  return *keys;
}

// The three values of a 24hr name in keys.
using EnergySlots = std::array<tl::platform::Value*, 3>;
EnergySlots SlotsIn(KeyValues& keys, const EnergyKeys& names) {
  return {&keys[names.energy], &keys[names.energyAbsolute], &keys[names.energyRaw]};
}

void SetEnergies(const EnergySlots& slots, const EQAggregateState& state) {
  *slots[0] = tl::SaturatedRound<long long>(state.energy());
  *slots[1] = tl::SaturatedRound<long long>(state.energyAbsolute());
  *slots[2] = tl::SaturatedRound<long long>(state.energyRaw());
}

void SetNotCurrent(const EnergySlots& slots) {
  for (tl::platform::Value* slot : slots) *slot = kNotCurrent;
}

std::string LevelKey(uint32_t level, const char* change) {
  char key[96];
  std::snprintf(key, sizeof key, "%s%d.LPM.%s", kPowerStateKeyPrefix, static_cast<int>(level),
                change);
  return key;
}

// The key a wake-reason token counts under, or "" for none of the known ones.
std::string WakeKey(std::string_view token) {
  std::string key;
  for (std::string_view component : kComponentTokens) {
    if (token == component) key = kWakeReasonKeyPrefix + std::string(token);
  }
  if (key.empty() && token.starts_with("spu")) key = "com.veltro.power.wake_reasons.spu_other";
  // The user tokens win over the rest; only "magsense" is matched as a prefix, on purpose.
  for (std::string_view user : kUserTokens) {
    if (token == user) key = kUserWakeKey;
  }
  if (token.starts_with("magsense")) key = kUserWakeKey;
  return key;
}

}  // namespace

void EQAggregateLogger::handleLPMEvent(const std::string& name, KeyValues& withTallydKeys,
                                       const EQAggregateState& withAggregateState) {
  KeyValues& keys = withTallydKeys;
  // The commit's own dictionary holds these keys from start-up on: their slots are known.
  auto slots = [&](bool on) {
    if (&keys == &commitKeys_) {
      const auto first = lpmSlots_.begin() + (on ? 0 : 3);
      return EnergySlots{first[0], first[1], first[2]};
    }
    return SlotsIn(keys, on ? On24hr() : Off24hr());
  };
  // The condition that is current gets the interval's energy, the other the sentinel.
  if (name == "unplugged_lpm_on" && isLPMOn()) {
    SetEnergies(slots(true), withAggregateState);
    SetNotCurrent(slots(false));
    if (!lastLPMStatus_) {
      keys[LevelKey(currentBatteryLevel_, "enable")] = 1;
      lastLPMStatus_ = true;
    }
  } else if (name == "unplugged_lpm_off" && !isLPMOn()) {
    SetEnergies(slots(false), withAggregateState);
    SetNotCurrent(slots(true));
    if (lastLPMStatus_) {
      keys[LevelKey(currentBatteryLevel_, "disable")] = 1;
      lastLPMStatus_ = false;
    }
  }
}

void EQAggregateLogger::handleWake(const tl::platform::Notification& notification) {
  KeyValues keys;
  const tl::platform::Value* reason = Find(notification.userInfo, EQDeviceDidWakeSystemReasonKey);
  if (reason && reason->string()) {
    // Split at every single blank: two blanks in a row make an empty token.
    std::string_view rest = *reason->string();
    while (true) {
      const size_t blank = rest.find(' ');
      const std::string_view token = rest.substr(0, blank);
      const std::string key = WakeKey(token);
      keys[key.empty() ? std::string("com.veltro.power.wake_reasons.other") : key] = 1;
      if (blank == std::string_view::npos) break;
      rest.remove_prefix(blank + 1);
    }
  }
  keys[kWakeCountKey] = 1;
  TLClientBatchKeys(&keys, nullptr);
  // The device is awake now: a second, separate commit.
  handleEvent(kEQEventAwake, 1);
}
