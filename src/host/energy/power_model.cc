// PowerModel: least squares with no negative power, over the subsets of fitted powers.
#include "host/energy/power_model.h"

#include <cmath>
#include <cstdio>
#include <optional>

namespace tl::host::energy {

namespace {

constexpr size_t kDrivers = 4;
constexpr size_t kLeastIntervals = 20;
constexpr double kLeastSeconds = 2 * 3600;
// How much of each driver the history needs before its power is fitted.
constexpr Drivers kLeastDriver{3600, 3600, 1800, 60};
constexpr const char* kDriverNames[] = {"asleep", "awake", "screen", "CPU"};

double& Power(PowerModel& model, size_t i) {
  double* powers[] = {&model.sleepMilliwatts, &model.awakeMilliwatts, &model.screenMilliwatts,
                      &model.cpuMilliwatts};
  return *powers[i];
}

// Solves a × x = b for the n first unknowns by Gaussian elimination with partial pivoting;
// nullopt when the system is singular.
std::optional<std::array<double, kDrivers>> Solve(
    std::array<std::array<double, kDrivers>, kDrivers> a, std::array<double, kDrivers> b,
    size_t n) {
  for (size_t col = 0; col < n; ++col) {
    size_t pivot = col;
    for (size_t row = col + 1; row < n; ++row) {
      if (std::fabs(a[row][col]) > std::fabs(a[pivot][col])) pivot = row;
    }
    if (std::fabs(a[pivot][col]) < 1e-12 * (1 + std::fabs(a[col][col]))) return std::nullopt;
    std::swap(a[col], a[pivot]);
    std::swap(b[col], b[pivot]);
    for (size_t row = col + 1; row < n; ++row) {
      const double f = a[row][col] / a[col][col];
      for (size_t k = col; k < n; ++k) a[row][k] -= f * a[col][k];
      b[row] -= f * b[col];
    }
  }
  std::array<double, kDrivers> x{};
  for (size_t i = n; i-- > 0;) {
    double sum = b[i];
    for (size_t k = i + 1; k < n; ++k) sum -= a[i][k] * x[k];
    x[i] = sum / a[i][i];
  }
  return x;
}

}  // namespace

Drivers DriversOf(const PowerInterval& interval) {
  Drivers d{};
  const bool awake = interval.awake.value_or(true);
  d[awake ? 1 : 0] = interval.duration;
  if (interval.screen) d[2] = interval.duration * interval.brightness / 100.0;
  if (interval.deviceCpu) {
    d[3] = *interval.deviceCpu;
  } else {
    for (const IntervalApp& app : interval.apps) {
      d[3] += app.foregroundCpu.value_or(0) + app.backgroundCpu.value_or(0);
    }
  }
  return d;
}

double Energy(const PowerModel& model, const Drivers& d) {
  return (model.sleepMilliwatts * d[0] + model.awakeMilliwatts * d[1] +
          model.screenMilliwatts * d[2] + model.cpuMilliwatts * d[3]) /
         3600.0;
}

std::vector<std::pair<size_t, size_t>> GaugeSteps(const std::vector<PowerInterval>& intervals) {
  std::vector<std::pair<size_t, size_t>> steps;
  size_t begin = 0;
  for (size_t i = 0; i < intervals.size(); ++i) {
    const PowerInterval& interval = intervals[i];
    // A run ends before a plug, a new day, or after the interval that measured the step.
    if (i > begin && (interval.plugged || interval.day != intervals[begin].day)) {
      steps.emplace_back(begin, i);
      begin = i;
    }
    if (interval.plugged || interval.energy != 0) {
      steps.emplace_back(begin, i + 1);
      begin = i + 1;
    }
  }
  if (begin < intervals.size()) steps.emplace_back(begin, intervals.size());
  return steps;
}

void ModelFitter::add(const std::vector<PowerInterval>& intervals) {
  for (const auto& [begin, end] : GaugeSteps(intervals)) {
    Sample s{{}, 0};
    bool usable = true;
    double seconds = 0;
    for (size_t i = begin; i < end; ++i) {
      const PowerInterval& interval = intervals[i];
      usable = usable && !interval.plugged && interval.deviceCpu;
      const Drivers d = DriversOf(interval);
      for (size_t k = 0; k < kDrivers; ++k) s.x[k] += d[k];
      s.energy += interval.energy;
      seconds += interval.duration;
    }
    if (!usable || seconds <= 0) continue;
    for (size_t i = 0; i < kDrivers; ++i) totals_[i] += s.x[i];
    samples_.push_back(s);
    seconds_ += seconds;
  }
}

ModelFit ModelFitter::fit() const {
  ModelFit fit;
  const std::vector<Sample>& samples = samples_;
  const Drivers& totals = totals_;
  fit.hours = seconds_ / 3600.0;
  fit.intervals = samples.size();
  char note[160];
  if (samples.size() < kLeastIntervals || fit.hours * 3600 < kLeastSeconds) {
    std::snprintf(note, sizeof note,
                  "%zu intervals over %.1f h on battery, fewer than %zu or under %.0f h",
                  samples.size(), fit.hours, kLeastIntervals, kLeastSeconds / 3600);
    fit.note = note;
    return fit;
  }
  std::vector<size_t> free;
  for (size_t i = 0; i < kDrivers; ++i) {
    if (totals[i] >= kLeastDriver[i]) {
      free.push_back(i);
    } else {
      fit.note += std::string(fit.note.empty() ? "" : "; ") + "too little " + kDriverNames[i] +
                  " to fit its power";
    }
  }
  // What the powers kept at their defaults draw comes off each measured energy first, in mWh.
  auto rest = [&](const Sample& s) {
    double fixed = 0;
    for (size_t i = 0; i < kDrivers; ++i) {
      bool isFree = false;
      for (size_t f : free) isFree = isFree || f == i;
      if (!isFree) fixed += Power(fit.model, i) * s.x[i] / 3600.0;
    }
    return s.energy - fixed;
  };
  // Least squares over every subset of the free powers, the others at 0; the best whose powers
  // are all at least 0 is the constrained optimum (it satisfies the optimality conditions).
  double bestResidual = INFINITY;
  std::array<double, kDrivers> best{};
  for (unsigned mask = 1; mask < (1u << free.size()); ++mask) {
    std::vector<size_t> active;
    for (size_t k = 0; k < free.size(); ++k) {
      if (mask & (1u << k)) active.push_back(free[k]);
    }
    std::array<std::array<double, kDrivers>, kDrivers> a{};
    std::array<double, kDrivers> b{};
    for (const Sample& s : samples) {
      const double y = rest(s);
      for (size_t r = 0; r < active.size(); ++r) {
        b[r] += s.x[active[r]] / 3600.0 * y;
        for (size_t c = 0; c < active.size(); ++c) {
          a[r][c] += s.x[active[r]] / 3600.0 * s.x[active[c]] / 3600.0;
        }
      }
    }
    const auto x = Solve(a, b, active.size());
    if (!x) continue;
    bool feasible = true;
    for (size_t r = 0; r < active.size(); ++r) feasible = feasible && (*x)[r] >= 0;
    if (!feasible) continue;
    double residual = 0;
    for (const Sample& s : samples) {
      double e = rest(s);
      for (size_t r = 0; r < active.size(); ++r) e -= (*x)[r] * s.x[active[r]] / 3600.0;
      residual += e * e;
    }
    if (residual < bestResidual) {
      bestResidual = residual;
      best = {};
      for (size_t r = 0; r < active.size(); ++r) best[active[r]] = (*x)[r];
    }
  }
  if (!std::isfinite(bestResidual)) {
    fit.note = "the history does not determine the powers";
    return fit;
  }
  for (size_t i : free) {
    Power(fit.model, i) = best[i];
    fit.fitted[i] = true;
  }
  double mean = 0;
  for (const Sample& s : samples) mean += s.energy / static_cast<double>(samples.size());
  double total = 0, residual = 0;
  for (const Sample& s : samples) {
    total += (s.energy - mean) * (s.energy - mean);
    const double e = s.energy - Energy(fit.model, s.x);
    residual += e * e;
  }
  fit.rSquared = total > 0 ? 1 - residual / total : 0;
  return fit;
}

ModelFit FitModel(const std::vector<PowerInterval>& intervals) {
  ModelFitter fitter;
  fitter.add(intervals);
  return fitter.fit();
}

}  // namespace tl::host::energy
