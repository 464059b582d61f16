// Attribution: each interval's measured battery energy split between standby, the device
// awake, the screen, each application's CPU (foreground and background) and the CPU outside
// applications, with what the model does not explain left unattributed; summed by local day.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "host/energy/power_model.h"
#include "host/store/power_intervals.h"

namespace tl::host::energy {

// One application's use on battery in a day, and the energy it is estimated to have used.
struct AppEnergy {
  double foregroundSeconds = 0;
  double backgroundSeconds = 0;
  double foregroundCpu = 0;  // CPU seconds
  double backgroundCpu = 0;
  bool cpuUnknown = false;          // a reading of its CPU failed in some interval
  double screenMilliwattHours = 0;  // its share of the screen, by its time in the foreground
  double foregroundCpuMilliwattHours = 0;
  double backgroundCpuMilliwattHours = 0;
  double total() const {
    return screenMilliwattHours + foregroundCpuMilliwattHours + backgroundCpuMilliwattHours;
  }
};

// A day's drain and its parts, mWh. The parts add up to the drain: every interval's parts add
// up to its measured energy.
struct DayEnergy {
  double drain = 0;        // measured: the energy every interval on battery booked
  double standby = 0;      // asleep
  double awake = 0;        // awake, whatever ran
  double screenNoApp = 0;  // the screen on with no application in the foreground
  double systemCpu = 0;    // the device's CPU outside the applications
  double unattributed = 0;
  std::map<std::string, AppEnergy> apps;
  double appsTotal() const;
  double partsTotal() const {
    return standby + awake + screenNoApp + systemCpu + unattributed + appsTotal();
  }
};

// Splits every interval on battery with model and sums the parts by the interval's local day.
// An interval's modelled parts are scaled down to its measured energy when they exceed it; the
// energy they do not reach is unattributed, as is all of an interval that measured no drain
// (or a gain). The CPU outside applications is known only where the device's CPU and every
// application's are; elsewhere it stays unattributed.
std::map<std::string, DayEnergy> Attribute(const std::vector<PowerInterval>& intervals,
                                           const PowerModel& model);
// The same, adding to days: a history read a local day at a time. visit, when given, sees each
// interval on battery with the energy its gauge step shared to it.
void Attribute(const std::vector<PowerInterval>& intervals, const PowerModel& model,
               std::map<std::string, DayEnergy>& days,
               const std::function<void(const PowerInterval&)>& visit);

}  // namespace tl::host::energy
