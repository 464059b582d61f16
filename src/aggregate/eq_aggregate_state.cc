// EQAggregateState: accumulators, composite sums, and the table of composite states.
#include "aggregate/eq_aggregate_state.h"

#include "base/no_destructor.h"

EQStateSet EQStateSet::of(std::initializer_list<uint32_t> indices) {
  EQStateSet set;
  for (uint32_t i : indices) set.bits |= 1u << i;
  return set;
}

EQAggregateState::EQAggregateState() { resetStats(); }

EQAggregateState::EQAggregateState(EQStateSet substateIndices)
    : substateIndices_(substateIndices) {}

void EQAggregateState::setTime(double time, double energy, double energyAbsolute,
                               double energyRaw) {
  time_ = time;
  energy_ = energy;
  energyAbsolute_ = energyAbsolute;
  energyRaw_ = energyRaw;
}

void EQAggregateState::resetStats() {
  setTime(0, 0, 0, 0);
  count_ = 0;
}

void EQAggregateState::incrementCount() { ++count_; }

void EQAggregateState::updateCompositeStateWithBaseStates(
    const std::vector<EQAggregateState>& baseStates) {
  setTime(0, 0, 0, 0);
  // Ascending index order, one set bit at a time: the sums are the same in any order but for
  // rounding.
  for (uint32_t bits = substateIndices_.bits; bits != 0; bits &= bits - 1) {
    const uint32_t i = static_cast<uint32_t>(__builtin_ctz(bits));
    if (i >= baseStates.size()) break;
    const EQAggregateState& base = baseStates[i];
    time_ += base.time_;
    energy_ += base.energy_;
    energyAbsolute_ += base.energyAbsolute_;
    energyRaw_ += base.energyRaw_;
  }
}

const std::vector<EQCompositeDefinition>& EQCompositeStates() {
  // The screen states count only awake base states, and there is no unplugged charging state
  // nor any plugged-in low-power-mode state: both are part of the design.
  static const tl::NoDestructor<std::vector<EQCompositeDefinition>> states(
      std::vector<EQCompositeDefinition>{
          {"unplugged",
           EQStateSet::of({0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30})},
          {"unplugged_asleep", EQStateSet::of({0, 4, 8, 12, 16, 20, 24, 28})},
          {"unplugged_awake", EQStateSet::of({2, 6, 10, 14, 18, 22, 26, 30})},
          {"unplugged_screen_on", EQStateSet::of({6, 14, 22, 30})},
          {"unplugged_screen_off", EQStateSet::of({2, 10, 18, 26})},
          {"unplugged_lpm_on", EQStateSet::of({16, 18, 20, 22, 24, 26, 28, 30})},
          {"unplugged_lpm_off", EQStateSet::of({0, 2, 4, 6, 8, 10, 12, 14})},
          {"pluggedin",
           EQStateSet::of({1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31})},
          {"pluggedin_charging", EQStateSet::of({9, 11, 13, 15, 25, 27, 29, 31})},
          {"pluggedin_screen_on", EQStateSet::of({7, 15, 23, 31})},
          {"pluggedin_screen_off", EQStateSet::of({3, 11, 19, 27})},
      });
  return *states;
}
