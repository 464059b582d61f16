// The summary: each day's figures in sentences, and the figures set against the median of the
// days before.
#include "host/report/summary.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>

namespace tl::host::report {

namespace {

std::string Format(const char* format, double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

// Percentages as people read them: one decimal below 10.
std::string Percent(double value) {
  return Format(std::fabs(value) < 9.95 ? "%.1f %%" : "%.0f %%", value);
}

std::string Hours(double seconds) { return Format("%.1f h", seconds / 3600.0); }

std::string Clock(double seconds) {
  const long minutes = std::lround(seconds / 60.0);
  char text[32];
  std::snprintf(text, sizeof text, "%ld:%02ld", minutes / 60, minutes % 60);
  return text;
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const size_t n = values.size();
  return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2.0;
}

std::optional<double> ScreenOffDrain(const DayFigures& d) {
  if (!d.onBattery || !d.drain) return std::nullopt;
  const double seconds = *d.onBattery - d.screenOn.value_or(0);
  if (seconds < 3600) return std::nullopt;
  return (*d.drain - d.screenOnDrain.value_or(0)) / seconds * 3600.0;
}

std::optional<double> NightWakes(const DayFigures& d) {
  if (!d.night) return std::nullopt;
  return d.night->wakesPerHour;
}

std::optional<double> NightAsleepDrain(const DayFigures& d) {
  if (!d.night) return std::nullopt;
  return d.night->asleepMilliwatts;
}

// The biggest parts of the day's drain, applications and the device's own parts alike.
std::vector<Consumer> Consumers(const energy::DayEnergy& e) {
  std::vector<Consumer> all;
  auto add = [&](const std::string& name, double mwh) {
    if (mwh > 0) all.push_back({name, mwh, mwh / e.drain * 100.0});
  };
  for (const auto& [bundle, app] : e.apps) add(bundle, app.total());
  add("the device awake", e.awake);
  add("the screen with no app", e.screenNoApp);
  add("standby", e.standby);
  add("system CPU", e.systemCpu);
  std::stable_sort(all.begin(), all.end(), [](const Consumer& a, const Consumer& b) {
    return a.milliwattHours > b.milliwattHours;
  });
  if (all.size() > 3) all.resize(3);
  return all;
}

std::string NightSentence(const Night& n) {
  std::string text = "Night: " + n.verdict + " (asleep " + Clock(n.asleep) + " of " +
                     Clock(n.recorded) + ", " + std::to_string(n.wakes) +
                     (n.wakes == 1 ? " wake" : " wakes");
  if (n.wakes > 0) text += Format(", %.1f an hour", n.wakesPerHour);
  if (!n.reasons.empty()) text += ", mostly " + n.reasons.front().first;
  if (n.awakeScreenOff >= 60) text += ", awake with the screen off " + Clock(n.awakeScreenOff);
  if (n.thermalMax && *n.thermalMax >= kHotThermalLevel) {
    text += ", thermal level " + std::to_string(*n.thermalMax);
  }
  if (n.lostPercent) text += ", " + Percent(*n.lostPercent) + " lost";
  if (n.asleepMilliwatts) text += Format(", %.0f mW asleep", *n.asleepMilliwatts);
  return text + ").";
}

// Figures of the earlier days (at most kTypicalDays of those that have it), newest first.
std::vector<double> Earlier(const std::vector<DayFigures>& days, size_t index,
                            const std::function<std::optional<double>(const DayFigures&)>& of) {
  std::vector<double> found;
  for (size_t i = index; i-- > 0 && found.size() < kTypicalDays;) {
    if (auto v = of(days[i])) found.push_back(*v);
  }
  return found;
}

std::string Ratio(double value, double typical) { return Format("%.1f\u00d7", value / typical); }

void FindUnusual(const std::vector<DayFigures>& days, size_t index, DaySummary& summary) {
  const DayFigures& today = days[index];
  // The device's own figures, each with its unit, and how much of it is worth a word.
  struct Measure {
    const char* name;
    const char* label;
    const char* unit;
    double least;
    std::optional<double> (*of)(const DayFigures&);
  };
  const Measure measures[] = {
      {"screen_off_drain_mW", "screen-off drain", "mW", 1, ScreenOffDrain},
      {"night_wakes_per_h", "wakes an hour overnight", "", 2, NightWakes},
      {"night_asleep_drain_mW", "drain asleep overnight", "mW", 1, NightAsleepDrain}};
  for (const Measure& m : measures) {
    const auto value = m.of(today);
    const auto earlier = Earlier(days, index, m.of);
    if (!value || earlier.size() < kLeastTypicalDays || *value < m.least) continue;
    summary.typicalDays = std::max(summary.typicalDays, earlier.size());
    const double typical = Median(earlier);
    if (*value < kUnusualRatio * typical) continue;
    const std::string unit = *m.unit ? std::string(" ") + m.unit : "";
    std::string text = std::string(m.label) + " ";
    text += typical > 0 ? Ratio(*value, typical) + " typical (" + Format("%.1f", *value) + unit +
                              " against " + Format("%.1f", typical) + unit + ")"
                        : Format("%.1f", *value) + unit + ", typically none";
    summary.unusual.push_back({m.name, "", *value, typical, std::move(text)});
  }
  // Each application that took a share of the day, against its own typical day (nothing on a
  // day it did not run).
  if (!today.energy || today.energy->drain <= 0) return;
  std::vector<const DayFigures*> before;
  for (size_t i = index; i-- > 0 && before.size() < kTypicalDays;) {
    if (days[i].energy && days[i].energy->drain > 0) before.push_back(&days[i]);
  }
  if (before.size() < kLeastTypicalDays) return;
  summary.typicalDays = std::max(summary.typicalDays, before.size());
  for (const auto& [bundle, app] : today.energy->apps) {
    const double value = app.total();
    if (value < kLeastAppShare * today.energy->drain) continue;
    std::vector<double> earlier;
    for (const DayFigures* d : before) {
      auto it = d->energy->apps.find(bundle);
      earlier.push_back(it == d->energy->apps.end() ? 0.0 : it->second.total());
    }
    const double typical = Median(earlier);
    if (value < kUnusualRatio * typical) continue;
    std::string text =
        typical > 0
            ? bundle + " used " + Ratio(value, typical) + " its typical energy (" +
                  Format("%.0f", value) + " mWh against " + Format("%.0f", typical) + " mWh, est.)"
            : bundle + " used " + Format("%.0f", value) + " mWh (est.), typically none";
    summary.unusual.push_back({"app_energy_mWh", bundle, value, typical, std::move(text)});
  }
}

}  // namespace

std::vector<DaySummary> Summarize(const std::vector<DayFigures>& days) {
  std::vector<DaySummary> summaries;
  for (size_t index = 0; index < days.size(); ++index) {
    const DayFigures& d = days[index];
    DaySummary s;
    s.day = d.day;
    s.onBattery = d.onBattery;
    s.usedPercent = d.drainPercent;
    if (d.onBattery && *d.onBattery > 0) {
      std::string text = "On battery for " + Hours(*d.onBattery);
      if (d.drainPercent) {
        s.percentPerHour = *d.drainPercent / (*d.onBattery / 3600.0);
        text += ": " + Percent(*d.drainPercent) + " used (" +
                Format("%.2f %%/h", *s.percentPerHour) + ").";
      } else if (d.drain) {
        text += ": " + Format("%.0f mWh used.", *d.drain);
      } else {
        text += ".";
      }
      s.sentences.push_back(std::move(text));
    } else {
      s.sentences.emplace_back("Not on battery.");
    }
    if (d.energy && d.energy->drain > 0) {
      s.consumers = Consumers(*d.energy);
      std::string text = "Biggest users (estimated): ";
      for (size_t i = 0; i < s.consumers.size(); ++i) {
        text += (i ? ", " : "") + s.consumers[i].name + " " + Percent(s.consumers[i].sharePercent);
      }
      if (!s.consumers.empty()) s.sentences.push_back(text + ".");
    }
    if (d.night) {
      s.nightVerdict = d.night->verdict;
      s.sentences.push_back(NightSentence(*d.night));
    }
    FindUnusual(days, index, s);
    if (s.typicalDays > 0) {
      std::string text =
          "Against the median of the " + std::to_string(s.typicalDays) + " days before: ";
      if (s.unusual.empty()) {
        text += "nothing unusual.";
      } else {
        for (size_t i = 0; i < s.unusual.size(); ++i) text += (i ? "; " : "") + s.unusual[i].text;
        text += ".";
      }
      s.sentences.push_back(std::move(text));
    }
    summaries.push_back(std::move(s));
  }
  return summaries;
}

}  // namespace tl::host::report
