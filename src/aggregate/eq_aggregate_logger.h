// EQAggregateLogger: at every power event, books the time and battery energy since the previous
// event to the base state being left, counts exits, and commits every composite state's keys.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "aggregate/eq_aggregate_state.h"
#include "platform/notification_center.h"
#include "platform/statistics_client.h"

class EQBatteryProperties;

// Event codes: the base-state bit an event sets or clears.
enum EQAggregateEvent : int {
  kEQEventPluggedIn = 0,
  kEQEventAwake = 1,
  kEQEventDisplayOn = 2,
  kEQEventCharging = 3,
  kEQEventLowPowerMode = 4,
};

// No lock: it runs on whichever queue posts the power notification (one at a time), and at
// start-up on the thread that creates it.
class EQAggregateLogger {
 public:
  EQAggregateLogger();   // init: readings, the present conditions replayed as five events
  ~EQAggregateLogger();  // dealloc

  // The display brightness as a fraction of full brightness.
  double backlightLevel();
  bool getCurrentDisplayState();
  bool getCurrentLPMState();

  // The measurement and commit step for event code event and status 0 or 1.
  void handleEvent(int event, int withStatus);
  // Adds the low-power-mode keys of composite state name to keys.
  void handleLPMEvent(const std::string& name, tl::platform::KeyValues& withTallydKeys,
                      const EQAggregateState& withAggregateState);

  void handleScreenOn(const tl::platform::Notification& notification);
  void handleScreenOff(const tl::platform::Notification& notification);
  void handleSleep(const tl::platform::Notification& notification);
  void handleWake(const tl::platform::Notification& notification);
  void handleBatteryStatus(const tl::platform::Notification& notification);
  void handleLPMStatus(const tl::platform::Notification& notification);

  bool isPlugged() const { return currentState_ & 1u; }
  bool isCharging() const { return currentState_ & 8u; }
  bool isLPMOn() const { return currentState_ & 16u; }

  uint32_t currentState() const { return currentState_; }
  void setCurrentState(uint32_t v) { currentState_ = v; }
  const std::vector<EQAggregateState>& baseStates() const { return baseStates_; }
  const std::map<std::string, EQAggregateState>& compositeStates() const {
    return compositeStates_;
  }
  double lastTime() const { return lastTime_; }
  void setLastTime(double v) { lastTime_ = v; }
  double lastVoltage() const { return lastVoltage_; }
  void setLastVoltage(double v) { lastVoltage_ = v; }
  double lastCurrentCapacity() const { return lastCurrentCapacity_; }
  void setLastCurrentCapacity(double v) { lastCurrentCapacity_ = v; }
  double lastCurrentCapacityAbsolute() const { return lastCurrentCapacityAbsolute_; }
  void setLastCurrentCapacityAbsolute(double v) { lastCurrentCapacityAbsolute_ = v; }
  double lastCurrentCapacityRaw() const { return lastCurrentCapacityRaw_; }
  void setLastCurrentCapacityRaw(double v) { lastCurrentCapacityRaw_ = v; }
  bool lastLPMStatus() const { return lastLPMStatus_; }
  void setLastLPMStatus(bool v) { lastLPMStatus_ = v; }
  uint32_t currentBatteryLevel() const { return currentBatteryLevel_; }
  void setCurrentBatteryLevel(uint32_t v) { currentBatteryLevel_ = v; }

 private:
  struct Readings {
    double voltage;
    double capacity;
    double absolute;
    double raw;
  };
  // The keys of one composite state in the commit dictionary.
  struct Slots {
    tl::platform::Value* duration;
    tl::platform::Value* energy;
    tl::platform::Value* energyAbsolute;
    tl::platform::Value* energyRaw;
    tl::platform::Value* count;
  };

  static Readings Read(const EQBatteryProperties& battery);
  static uint32_t BatteryLevel(const EQBatteryProperties& battery);

  double lastCommit_ = 0;   // declared; nothing reads or writes it
  std::string deviceType_;  // declared; never set
  double lastPrint_ = 0;    // declared; never set
  bool lastLPMStatus_ = false;
  uint32_t currentState_ = 0;
  std::vector<EQAggregateState> baseStates_;
  std::map<std::string, EQAggregateState> compositeStates_;
  uint32_t currentBatteryLevel_ = 0;
  double lastTime_ = 0;
  double lastVoltage_ = 0;
  double lastCurrentCapacity_ = 0;
  double lastCurrentCapacityAbsolute_ = 0;
  double lastCurrentCapacityRaw_ = 0;

  // Every commit carries the same keys, so the dictionary is built once and its values
  // overwritten; only the low-power-mode enable and disable keys come and go.
  tl::platform::KeyValues commitKeys_;
  std::vector<std::pair<EQAggregateState*, Slots>> commitSlots_;
  tl::platform::Value* userSetting_ = nullptr;
  size_t fixedKeys_ = 0;  // all but the enable and disable keys
  // The low-power-mode "24hr" energies in commitKeys_: energy, energyAbsolute and energyRaw of
  // the "on" name, then of the "off" name.
  std::array<tl::platform::Value*, 6> lpmSlots_{};

  // The six notification observers; dealloc removes them.
  std::vector<std::unique_ptr<tl::platform::Registration>> observers_;
};
