// EQAggregateState: the time, energy and exits accumulated in one power state since the last
// commit; a composite state sums a set of base states.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// A base state is a 5-bit index: plugged in (1), awake (2), display on (4), charging (8),
// low-power mode on (16); the bit numbers are also the aggregate logger's event codes.
inline constexpr uint32_t kBaseStates = 32;

// A set of base-state indices, one bit each.
struct EQStateSet {
  uint32_t bits = 0;
  bool contains(uint32_t index) const { return index < 32 && (bits >> index & 1u); }
  static EQStateSet of(std::initializer_list<uint32_t> indices);
};

class EQAggregateState {
 public:
  // init: a base state, all zero.
  EQAggregateState();
  // initWithSubstateIndices: a composite state over indices.
  explicit EQAggregateState(EQStateSet substateIndices);
  static EQAggregateState stateWithSubstateIndices(EQStateSet indices) {
    return EQAggregateState(indices);
  }

  // Replaces the four accumulators; it does not add to them.
  void setTime(double time, double energy, double energyAbsolute, double energyRaw);
  void resetStats();
  void incrementCount();
  // A composite's time and energies become the sums of its base states'; its count, which the
  // logger counts itself, is left alone.
  void updateCompositeStateWithBaseStates(const std::vector<EQAggregateState>& baseStates);

  double energy() const { return energy_; }
  void setEnergy(double v) { energy_ = v; }
  double energyAbsolute() const { return energyAbsolute_; }
  void setEnergyAbsolute(double v) { energyAbsolute_ = v; }
  double energyRaw() const { return energyRaw_; }
  void setEnergyRaw(double v) { energyRaw_ = v; }
  double time() const { return time_; }
  void setTime(double v) { time_ = v; }
  int32_t count() const { return count_; }
  void setCount(int32_t v) { count_ = v; }
  EQStateSet substateIndices() const { return substateIndices_; }
  void setSubstateIndices(EQStateSet v) { substateIndices_ = v; }

 private:
  // Plain doubles and an integer count: reset values are exact zeros.
  double energy_ = 0;
  double energyAbsolute_ = 0;
  double energyRaw_ = 0;
  double time_ = 0;
  int32_t count_ = 0;
  EQStateSet substateIndices_;
};

// The composite states, in the order they are built, with their base-state indices.
struct EQCompositeDefinition {
  const char* name;
  EQStateSet indices;
};
const std::vector<EQCompositeDefinition>& EQCompositeStates();
