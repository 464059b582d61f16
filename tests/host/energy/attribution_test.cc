// The split of measured energy: every interval's parts add up to what it measured, scaled down
// when the model asks for more, unattributed when it asks for less, nothing from a gain; and the
// fit finds the powers a history was made with.
#include "host/energy/attribution.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using namespace tl::host;
using namespace tl::host::energy;

PowerInterval Interval(const std::string& day, double duration, double energy, bool awake,
                       bool screen, std::optional<double> deviceCpu) {
  PowerInterval interval;
  interval.day = day;
  interval.duration = duration;
  interval.energy = energy;
  interval.awake = awake;
  interval.screen = screen;
  interval.brightness = 50;
  interval.deviceCpu = deviceCpu;
  return interval;
}

IntervalApp App(std::string bundle, double foreground, double background,
                std::optional<double> foregroundCpu, std::optional<double> backgroundCpu) {
  return {std::move(bundle), foreground, background, foregroundCpu, backgroundCpu};
}

TEST(AttributionTest, EveryIntervalsPartsAddUpToItsMeasuredEnergy) {
  // Per second: asleep 0.1 mWh, awake 1 mWh, the full screen 2 mWh; 1 mWh a CPU second.
  const PowerModel model{360, 3600, 7200, 3600};
  std::vector<PowerInterval> intervals;
  // Awake with the screen at half brightness for 100 s: awake 100, screen 100 (60 s of it with
  // x in front), CPU x 10 + y 5, the system 30 - 15 = 15: 230 modelled of 300 measured.
  intervals.push_back(Interval("d1", 100, 300, true, true, 30));
  intervals.back().apps = {App("x", 60, 0, 10, 0), App("y", 0, 100, 0, 5)};
  // Asleep: 100 modelled of 50 measured, scaled to it.
  intervals.push_back(Interval("d1", 1000, 50, false, false, 0));
  // A gain explains nothing.
  intervals.push_back(Interval("d1", 10, -5, true, false, 0));
  // y's CPU is unknown: no CPU for it, and none for the system.
  intervals.push_back(Interval("d1", 100, 200, true, false, 40));
  intervals.back().apps = {App("y", 0, 100, std::nullopt, std::nullopt)};
  // Plugged in: the charger's energy, not attributed.
  intervals.push_back(Interval("d1", 100, 999, true, true, 5));
  intervals.back().plugged = true;
  intervals.push_back(Interval("d2", 36, 10, true, false, 0));

  const auto days = Attribute(intervals, model);
  ASSERT_EQ(days.size(), 2u);
  const DayEnergy& d = days.at("d1");
  EXPECT_DOUBLE_EQ(d.drain, 300 + 50 - 5 + 200);
  EXPECT_DOUBLE_EQ(d.standby, 50);
  EXPECT_DOUBLE_EQ(d.awake, 200);
  EXPECT_DOUBLE_EQ(d.screenNoApp, 40);
  EXPECT_DOUBLE_EQ(d.systemCpu, 15);
  EXPECT_DOUBLE_EQ(d.unattributed, 70 + 0 - 5 + 100);
  const AppEnergy& x = d.apps.at("x");
  EXPECT_DOUBLE_EQ(x.screenMilliwattHours, 60);
  EXPECT_DOUBLE_EQ(x.foregroundCpuMilliwattHours, 10);
  EXPECT_DOUBLE_EQ(x.total(), 70);
  const AppEnergy& y = d.apps.at("y");
  EXPECT_DOUBLE_EQ(y.backgroundCpuMilliwattHours, 5);
  EXPECT_DOUBLE_EQ(y.backgroundSeconds, 200);
  EXPECT_TRUE(y.cpuUnknown);
  EXPECT_FALSE(x.cpuUnknown);
  EXPECT_DOUBLE_EQ(d.partsTotal(), d.drain);
  // 36 s awake is 36 mWh modelled: the 10 measured are all of it, scaled.
  EXPECT_DOUBLE_EQ(days.at("d2").awake, 10);
  EXPECT_DOUBLE_EQ(days.at("d2").partsTotal(), 10);
}

TEST(AttributionTest, AGaugeStepIsSharedByTheIntervalsItMeasured) {
  const PowerModel model{360, 3600, 7200, 3600};
  // The gauge said nothing while x was on screen, then stepped 600 mWh in the screen-off
  // interval after: modelled 200 (awake 100, screen 100) and 200 (awake), the step goes half and
  // half, and x gets its screen.
  std::vector<PowerInterval> intervals;
  intervals.push_back(Interval("d", 100, 0, true, true, 0));
  intervals.back().brightness = 50;
  intervals.back().apps = {App("x", 100, 0, 0, 0)};
  intervals.push_back(Interval("d", 200, 600, true, false, 0));
  // A step of the next day is that day's alone: its interval without energy keeps none.
  intervals.push_back(Interval("e", 100, 0, true, false, 0));
  EXPECT_EQ(GaugeSteps(intervals), (std::vector<std::pair<size_t, size_t>>{{0, 2}, {2, 3}}));
  const auto days = Attribute(intervals, model);
  const DayEnergy& d = days.at("d");
  EXPECT_DOUBLE_EQ(d.drain, 600);
  EXPECT_DOUBLE_EQ(d.apps.at("x").screenMilliwattHours, 100);
  EXPECT_DOUBLE_EQ(d.awake, 300);
  EXPECT_DOUBLE_EQ(d.unattributed, 200);
  EXPECT_DOUBLE_EQ(days.at("e").drain, 0);
  EXPECT_DOUBLE_EQ(days.at("e").unattributed, 0);
}

// Intervals whose energies the model made exactly, with drivers that vary independently.
std::vector<PowerInterval> History(const PowerModel& truth, size_t count, bool sleeps) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> unit(0, 1);
  std::vector<PowerInterval> intervals;
  for (size_t i = 0; i < count; ++i) {
    const bool awake = !sleeps || i % 3 != 0;
    const double duration = 300 + 1200 * unit(random);
    const bool screen = awake && unit(random) < 0.6;
    const double cpu = awake ? 600 * unit(random) : 0;
    PowerInterval interval = Interval("d", duration, 0, awake, screen, cpu);
    interval.brightness = 10 + 90 * unit(random);
    interval.energy = Energy(truth, DriversOf(interval));
    intervals.push_back(interval);
  }
  return intervals;
}

TEST(AttributionTest, TheFitFindsThePowersAHistoryWasMadeWith) {
  const PowerModel truth{40, 600, 1500, 2500};
  ModelFit fit = FitModel(History(truth, 60, true));
  EXPECT_NEAR(fit.model.sleepMilliwatts, 40, 1e-6);
  EXPECT_NEAR(fit.model.awakeMilliwatts, 600, 1e-6);
  EXPECT_NEAR(fit.model.screenMilliwatts, 1500, 1e-6);
  EXPECT_NEAR(fit.model.cpuMilliwatts, 2500, 1e-6);
  EXPECT_NEAR(fit.rSquared, 1, 1e-9);
  EXPECT_EQ(fit.intervals, 60u);
  EXPECT_TRUE(fit.note.empty()) << fit.note;

  // Never asleep on battery: that power keeps its default, the others are still found.
  fit = FitModel(History(truth, 60, false));
  EXPECT_FALSE(fit.fitted[0]);
  EXPECT_EQ(fit.model.sleepMilliwatts, kDefaultModel.sleepMilliwatts);
  EXPECT_NEAR(fit.model.cpuMilliwatts, 2500, 1e-6);
  EXPECT_NE(fit.note.find("too little asleep"), std::string::npos) << fit.note;

  // A power the history says is below nothing is held at 0.
  fit = FitModel(History({40, 600, 1500, -300}, 60, true));
  EXPECT_EQ(fit.model.cpuMilliwatts, 0);

  // Too little history: every default.
  fit = FitModel(History(truth, 12, true));
  EXPECT_EQ(fit.fitted, (std::array<bool, 4>{}));
  EXPECT_EQ(fit.model.awakeMilliwatts, kDefaultModel.awakeMilliwatts);
  EXPECT_NE(fit.note.find("12 intervals"), std::string::npos) << fit.note;
}

}  // namespace
