// Attribution: the parts of one interval, and their sum by day.
#include "host/energy/attribution.h"

#include <algorithm>

namespace tl::host::energy {

namespace {

void AddInterval(const PowerInterval& interval, const PowerModel& model, DayEnergy& day) {
  day.drain += interval.energy;
  const Drivers d = DriversOf(interval);
  const double standby = model.sleepMilliwatts * d[0] / 3600.0;
  const double awake = model.awakeMilliwatts * d[1] / 3600.0;
  const double screen = model.screenMilliwatts * d[2] / 3600.0;
  const double perCpuSecond = model.cpuMilliwatts / 3600.0;
  bool allKnown = true;
  double appsCpu = 0;
  for (const IntervalApp& app : interval.apps) {
    allKnown = allKnown && app.foregroundCpu.has_value();
    appsCpu += app.foregroundCpu.value_or(0) + app.backgroundCpu.value_or(0);
  }
  const double systemCpu = allKnown && interval.deviceCpu
                               ? perCpuSecond * std::max(0.0, *interval.deviceCpu - appsCpu)
                               : 0.0;
  const double modelled = standby + awake + screen + perCpuSecond * appsCpu + systemCpu;
  // Parts beyond the measurement are scaled down to it; a drain of 0 or a gain explains nothing.
  const double scale = interval.energy <= 0 || modelled <= 0 ? 0.0
                       : modelled > interval.energy          ? interval.energy / modelled
                                                             : 1.0;
  double parts = 0;
  auto book = [&](double& to, double value) {
    to += value * scale;
    parts += value * scale;
  };
  book(day.standby, standby);
  book(day.awake, awake);
  book(day.systemCpu, systemCpu);
  // The screen goes to the foreground applications by their time in front; the rest of its
  // time had none.
  const double screenTime = interval.screen ? interval.duration : 0;
  double foregroundTime = 0;
  for (const IntervalApp& app : interval.apps) foregroundTime += app.foregroundSeconds;
  const double shareBase = std::max(screenTime, foregroundTime);
  for (const IntervalApp& app : interval.apps) {
    AppEnergy& energy = day.apps[app.bundle];
    energy.foregroundSeconds += app.foregroundSeconds;
    energy.backgroundSeconds += app.backgroundSeconds;
    energy.foregroundCpu += app.foregroundCpu.value_or(0);
    energy.backgroundCpu += app.backgroundCpu.value_or(0);
    energy.cpuUnknown = energy.cpuUnknown || !app.foregroundCpu;
    if (screen > 0 && shareBase > 0) {
      book(energy.screenMilliwattHours, screen * app.foregroundSeconds / shareBase);
    }
    book(energy.foregroundCpuMilliwattHours, perCpuSecond * app.foregroundCpu.value_or(0));
    book(energy.backgroundCpuMilliwattHours, perCpuSecond * app.backgroundCpu.value_or(0));
  }
  if (screen > 0) {
    book(day.screenNoApp,
         shareBase > 0 ? screen * (shareBase - foregroundTime) / shareBase : screen);
  }
  // What is left makes the parts add up to the measurement exactly.
  day.unattributed += interval.energy - parts;
}

}  // namespace

double DayEnergy::appsTotal() const {
  double total = 0;
  for (const auto& [bundle, app] : apps) total += app.total();
  return total;
}

void Attribute(const std::vector<PowerInterval>& intervals, const PowerModel& model,
               std::map<std::string, DayEnergy>& days,
               const std::function<void(const PowerInterval&)>& visit) {
  for (const auto& [begin, end] : GaugeSteps(intervals)) {
    if (intervals[begin].plugged) continue;
    // The step's energy is shared among its intervals by what the model says each drew.
    double stepEnergy = 0, modelled = 0;
    for (size_t i = begin; i < end; ++i) {
      stepEnergy += intervals[i].energy;
      modelled += Energy(model, DriversOf(intervals[i]));
    }
    for (size_t i = begin; i < end; ++i) {
      PowerInterval interval = intervals[i];
      if (modelled > 0)
        interval.energy = stepEnergy * Energy(model, DriversOf(interval)) / modelled;
      AddInterval(interval, model, days[interval.day]);
      if (visit) visit(interval);
    }
  }
}

std::map<std::string, DayEnergy> Attribute(const std::vector<PowerInterval>& intervals,
                                           const PowerModel& model) {
  std::map<std::string, DayEnergy> days;
  Attribute(intervals, model, days, nullptr);
  return days;
}

}  // namespace tl::host::energy
