// PowerModel: the device's power drawn asleep, awake, by the screen and by the CPU, fitted to
// the energy each interval on battery measured, with defaults until there is enough history.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "host/store/power_intervals.h"

namespace tl::host::energy {

// An interval's modelled energy, in mWh, is what these powers (mW) draw over its time:
//   sleep × time asleep + awake × time awake + screen × time screen-on × brightness (0..1)
//   + cpu × CPU seconds (of the whole device)
// cpu is the power of one CPU kept busy, so a CPU second costs cpu / 3600 mWh.
struct PowerModel {
  double sleepMilliwatts = 0;
  double awakeMilliwatts = 0;
  double screenMilliwatts = 0;  // at full brightness
  double cpuMilliwatts = 0;     // one CPU busy
};

// A laptop's, taken as the default: a device says more of itself once it has history.
inline constexpr PowerModel kDefaultModel{300, 3000, 3000, 5000};

// The four quantities that draw power, in an interval's own units: seconds asleep, seconds
// awake, screen-seconds at full brightness, CPU seconds.
using Drivers = std::array<double, 4>;
// An interval's drivers; the CPU is the device's, else what its applications are known to have
// used.
Drivers DriversOf(const PowerInterval& interval);
// Modelled energy of drivers, mWh.
double Energy(const PowerModel& model, const Drivers& drivers);

// The runs of intervals on battery that one step of the gauge measured, as [begin, end) indices
// into intervals (in time order). A gauge that reports its charge seldom books a whole step to
// the interval in which it came and nothing to those before it; a run is those intervals of one
// local day up to and including the one that measured energy (or the day's last ones, which
// measured none). An interval plugged in is a run of its own.
std::vector<std::pair<size_t, size_t>> GaugeSteps(const std::vector<PowerInterval>& intervals);

struct ModelFit {
  PowerModel model = kDefaultModel;
  // Which of the four powers the history determined; the others are the defaults.
  std::array<bool, 4> fitted{};
  size_t intervals = 0;  // intervals on battery the fit used
  double hours = 0;      // their time
  double rSquared = 0;   // of the fit's energies against the measured ones (when any is fitted)
  // Why a power kept its default, when one did ("12 intervals, fewer than 20").
  std::string note;
};

// Fits the model to every run of intervals on battery (GaugeSteps) whose CPU is known, each run
// one measurement of its drivers' sums, by least squares with no power below 0. A power whose
// driver the history barely has (less than an hour asleep or awake, half an hour of full screen, a
// minute of CPU) keeps its default; with fewer than 20 such intervals or under two hours in all,
// every power does.
ModelFit FitModel(const std::vector<PowerInterval>& intervals);

// FitModel over a history read a local day at a time (a run never spans two days): only each
// run's sums are kept.
class ModelFitter {
 public:
  // intervals: in time order, none of them in a day given before.
  void add(const std::vector<PowerInterval>& intervals);
  ModelFit fit() const;

 private:
  struct Sample {
    Drivers x;
    double energy;
  };
  std::vector<Sample> samples_;
  Drivers totals_{};
  double seconds_ = 0;
};

}  // namespace tl::host::energy
