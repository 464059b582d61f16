// The battery use by application: rows of each day's parts, largest first, and how the model
// came about.
#include "host/report/report_energy.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "host/store/power_intervals.h"

namespace tl::host::report {

namespace {

// What is left of a sum of parts that cancel (1e-13 mWh) reads as nothing, not as -0.
double Clean(double energy) { return std::fabs(energy) < 1e-6 ? 0.0 : energy; }

Cell Share(double energy, double drain) {
  return drain > 0 ? Cell(Clean(energy) / drain * 100.0) : Cell();
}

std::string Watts(double milliwatts) {
  char text[32];
  std::snprintf(text, sizeof text, "%.0f mW", milliwatts);
  return text;
}

// How the figures were estimated: the model, where its powers came from, and how well it fits.
std::string ModelNote(const EnergyView& view) {
  if (!view.recorded) {
    return "This store keeps no intervals: it was written by a tallyd that did not record them.";
  }
  const energy::ModelFit& fit = view.fit;
  const energy::PowerModel& m = fit.model;
  const bool any = fit.fitted[0] || fit.fitted[1] || fit.fitted[2] || fit.fitted[3];
  std::string note =
      "Estimated (docs/ATTRIBUTION.md): each interval's measured drain is split by a power model "
      "of asleep " +
      Watts(m.sleepMilliwatts) + ", awake " + Watts(m.awakeMilliwatts) + ", screen " +
      Watts(m.screenMilliwatts) + " at full brightness and a busy CPU " + Watts(m.cpuMilliwatts) +
      "; the screen goes to the app in the foreground, CPU to the app "
      "that used it, and what the model does not explain is unattributed. ";
  char fitted[200];
  if (any) {
    std::snprintf(fitted, sizeof fitted,
                  "Fitted to this device's %zu intervals over %.1f h on battery (R\u00b2 %.2f)",
                  fit.intervals, fit.hours, fit.rSquared);
    note += fitted;
    note += fit.note.empty() ? "." : "; " + fit.note + ", which keeps its default.";
  } else {
    note += "Default powers: " + fit.note + ".";
  }
  return note;
}

}  // namespace

EnergyView::EnergyView(Database& db, const std::function<void(const PowerInterval&)>& visit)
    : recorded(db.hasTable("power_intervals")) {
  // Twice through the store a day at a time: the model needs the whole history before it
  // attributes any of it.
  energy::ModelFitter fitter;
  ForEachIntervalDay(db, [&](std::vector<PowerInterval>& day) { fitter.add(day); });
  fit = fitter.fit();
  ForEachIntervalDay(
      db, [&](std::vector<PowerInterval>& day) { energy::Attribute(day, fit.model, days, visit); });
}

std::optional<std::pair<std::string, double>> EnergyView::topApp(const std::string& day) const {
  auto it = days.find(day);
  if (it == days.end()) return std::nullopt;
  std::optional<std::pair<std::string, double>> top;
  for (const auto& [bundle, app] : it->second.apps) {
    if (app.total() > 0 && (!top || app.total() > top->second)) top.emplace(bundle, app.total());
  }
  return top;
}

Table AppEnergyTable(const EnergyView& view, const std::vector<std::string>& days) {
  Table table{"app_energy", "Battery use by app (estimated)", ModelNote(view), {}, {}};
  table.columns = {Col("day", "day", Kind::kDay),
                   Col("app", "application", Kind::kText),
                   Col("foreground_s", "on screen", Kind::kDuration, "s"),
                   Col("background_s", "background", Kind::kDuration, "s"),
                   Col("cpu_foreground_s", "CPU on screen", Kind::kNumber, "s"),
                   Col("cpu_background_s", "CPU background", Kind::kNumber, "s"),
                   Col("energy_mWh", "est.", Kind::kEnergy, "mWh"),
                   Col("share_pct", "of drain", Kind::kPercent, "%"),
                   Col("screen_mWh", "screen", Kind::kEnergy, "mWh"),
                   Col("cpu_mWh", "CPU", Kind::kEnergy, "mWh")};
  for (const std::string& day : days) {
    auto found = view.days.find(day);
    if (found == view.days.end()) continue;
    const energy::DayEnergy& d = found->second;
    std::vector<std::pair<std::string, const energy::AppEnergy*>> apps;
    for (const auto& [bundle, app] : d.apps) apps.emplace_back(bundle, &app);
    std::stable_sort(apps.begin(), apps.end(), [](const auto& a, const auto& b) {
      return a.second->total() > b.second->total();
    });
    for (const auto& [bundle, app] : apps) {
      const double cpu = app->foregroundCpuMilliwattHours + app->backgroundCpuMilliwattHours;
      table.rows.push_back({day, bundle, app->foregroundSeconds, app->backgroundSeconds,
                            app->cpuUnknown ? Cell() : Cell(app->foregroundCpu),
                            app->cpuUnknown ? Cell() : Cell(app->backgroundCpu), app->total(),
                            Share(app->total(), d.drain), app->screenMilliwattHours, cpu});
    }
    // The parts no application used, in the order of the device's own states.
    const std::pair<const char*, double> rest[] = {{"(system CPU)", d.systemCpu},
                                                   {"(awake)", d.awake},
                                                   {"(standby)", d.standby},
                                                   {"(screen, no app)", d.screenNoApp},
                                                   {"(unattributed)", d.unattributed}};
    for (const auto& [name, energy] : rest) {
      const bool screen = std::string_view(name) == "(screen, no app)";
      const bool cpu = std::string_view(name) == "(system CPU)";
      table.rows.push_back({day, std::string(name), Cell(), Cell(), Cell(), Cell(), Clean(energy),
                            Share(energy, d.drain), screen ? Cell(Clean(energy)) : Cell(),
                            cpu ? Cell(Clean(energy)) : Cell()});
    }
  }
  return table;
}

}  // namespace tl::host::report
