// Nights: one walk along the timeline for every night at once, and the intervals' energy shared
// out to the nights they overlap.
#include "host/report/nights.h"

#include <algorithm>
#include <map>
#include <sstream>

#include "host/store/timeline.h"

namespace tl::host::report {

NightEnergy::NightEnergy(const std::vector<NightWindow>& windows) : sums_(windows.size()) {
  for (const NightWindow& w : windows) windows_.emplace_back(w.from, w.to);
}

void NightEnergy::add(const PowerInterval& interval) {
  if (interval.plugged || interval.duration <= 0) return;
  const double end = interval.at;
  const double start = end - interval.duration;
  auto it =
      std::upper_bound(windows_.begin(), windows_.end(), start,
                       [](double t, const std::pair<double, double>& w) { return t < w.second; });
  for (; it != windows_.end() && it->first < end; ++it) {
    const double overlap = std::min(end, it->second) - std::max(start, it->first);
    if (overlap <= 0) continue;
    Sums& sums = sums_[static_cast<size_t>(it - windows_.begin())];
    const double energy = interval.energy * overlap / interval.duration;
    sums.drain += energy;
    if (interval.awake == false) {
      sums.asleepEnergy += energy;
      sums.asleepSeconds += overlap;
    }
  }
}

namespace {

// What the walk gathers of one night beyond its times.
struct Walked {
  bool started = false;
  bool ended = false;
  std::optional<float> levelStart;
  std::optional<float> levelEnd;
  std::map<std::string, int64_t> reasons;
};

std::string Verdict(const Night& night) {
  std::vector<std::string> found;
  if (night.wakesPerHour > kWakeLoopPerHour) found.emplace_back("wake loop");
  if (night.awakeScreenOff > kKeptAwakeShare * night.recorded) found.emplace_back("kept awake");
  if (night.thermalMax && *night.thermalMax >= kHotThermalLevel) found.emplace_back("hot");
  if (found.empty())
    return night.plugged > kOnChargerShare * night.recorded ? "on charger" : "asleep";
  std::string verdict;
  for (const std::string& v : found) verdict += (verdict.empty() ? "" : ", ") + v;
  return verdict;
}

}  // namespace

std::vector<Night> FindNights(const std::vector<NightWindow>& windows,
                              const std::vector<TimelinePoint>& points,
                              const std::vector<std::string>& reasons,
                              const std::vector<std::pair<double, double>>& running,
                              const NightEnergy* energy) {
  std::vector<Night> nights(windows.size());
  std::vector<Walked> walked(windows.size());
  for (size_t k = 0; k < windows.size(); ++k) {
    nights[k].day = windows[k].day;
    nights[k].from = windows[k].from;
    nights[k].to = windows[k].to;
  }
  int state = -1;  // unknown: before the first row, after a stop
  std::optional<float> level;
  std::optional<int16_t> thermal;
  int32_t offset = points.empty() ? 0 : points.front().utcOffset;
  double previous = 0;
  size_t first = 0;  // the first night not yet over
  for (const TimelinePoint& p : points) {
    while (first < windows.size() && windows[first].to <= previous) ++first;
    for (size_t k = first; k < windows.size() && windows[k].from <= p.at; ++k) {
      Night& night = nights[k];
      Walked& w = walked[k];
      // The state before p held from the previous point; a start means nobody recorded between.
      if (state >= 0 && p.event != Event::kStart) {
        const double span = std::min(p.at, night.to) - std::max(previous, night.from);
        if (span > 0) {
          if (state & kStatePlugged) night.plugged += span;
          if (state & kStateDisplay) {
            night.screenOn += span;
          } else if (state & kStateAwake) {
            night.awakeScreenOff += span;
          } else {
            night.asleep += span;
          }
        }
      }
      if (!w.started) {
        w.started = true;
        w.levelStart = level;
        night.thermalMax = thermal;
        night.utcOffset = offset;
      }
      if (p.at >= night.to) {
        if (!w.ended) w.levelEnd = level;
        w.ended = true;
        continue;
      }
      if (p.event == Event::kWake) {
        ++night.wakes;
        std::istringstream words(p.wakeReason < reasons.size() ? reasons[p.wakeReason] : "");
        for (std::string reason; words >> reason;) ++w.reasons[reason];
      }
      if (p.thermal) {
        night.thermalMax = std::max<int32_t>(night.thermalMax.value_or(*p.thermal), *p.thermal);
      }
      if (p.level && !w.levelStart) w.levelStart = p.level;
    }
    if (p.event == Event::kStop) {
      state = -1;
    } else if (p.state) {
      state = std::max<int>(0, *p.state);
    }
    if (p.level) level = p.level;
    if (p.thermal) thermal = p.thermal;
    offset = p.utcOffset;
    previous = p.at;
  }
  std::vector<Night> kept;
  for (size_t k = 0; k < windows.size(); ++k) {
    Night& night = nights[k];
    Walked& w = walked[k];
    if (!w.ended) w.levelEnd = level;
    night.recorded = Overlap(running, night.from, night.to);
    if (night.recorded < kLeastRecordedShare * (night.to - night.from)) continue;
    const double hours = night.recorded / 3600.0;
    if (energy) {
      const NightEnergy::Sums& sums = energy->sums()[k];
      night.drain = sums.drain;
      if (sums.asleepSeconds >= 60) {
        night.asleepMilliwatts = sums.asleepEnergy / sums.asleepSeconds * 3600.0;
      }
    }
    if (w.levelStart && w.levelEnd) {
      night.lostPercent = static_cast<double>(*w.levelStart) - static_cast<double>(*w.levelEnd);
      night.percentPerHour = *night.lostPercent / hours;
    }
    night.wakesPerHour = static_cast<double>(night.wakes) / hours;
    std::vector<std::pair<std::string, int64_t>> sorted(w.reasons.begin(), w.reasons.end());
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const auto& a, const auto& b) { return a.second > b.second; });
    if (sorted.size() > 3) sorted.resize(3);
    night.reasons = std::move(sorted);
    night.verdict = Verdict(night);
    kept.push_back(std::move(night));
  }
  return kept;
}

std::string ReasonsText(const std::vector<std::pair<std::string, int64_t>>& reasons) {
  std::string text;
  for (const auto& [reason, count] : reasons) {
    text += (text.empty() ? "" : ", ") + reason + " " + std::to_string(count);
  }
  return text;
}

Table NightsTable(const std::vector<Night>& nights) {
  Table table{"nights",
              "Nights",
              "A night runs from 22:00 to 07:00 and belongs to the day it ends on. Its verdict: "
              "wake loop above 10 wakes an hour, kept awake when awake with the screen off for "
              "more than a quarter of it, hot at thermal level 2 or more; otherwise on charger "
              "when plugged in for more than half of it, else asleep. Lost is the battery level "
              "at its start less at its end; drains are estimated from the intervals.",
              {},
              {}};
  table.columns = {Col("day", "night to", Kind::kDay),
                   Col("verdict", "verdict", Kind::kText),
                   Col("recorded_s", "recorded", Kind::kDuration, "s"),
                   Col("asleep_s", "asleep", Kind::kDuration, "s"),
                   Col("awake_screen_off_s", "awake, screen off", Kind::kDuration, "s"),
                   Col("screen_on_s", "screen on", Kind::kDuration, "s"),
                   Col("plugged_s", "plugged in", Kind::kDuration, "s"),
                   Col("drain_mWh", "drain", Kind::kEnergy, "mWh"),
                   Col("lost_pct", "lost", Kind::kPercent, "%"),
                   Col("lost_pct_per_h", "lost an hour", Kind::kPercent, "%/h"),
                   Col("asleep_drain_mW", "drain asleep", Kind::kPower, "mW"),
                   Col("wakes", "wakes", Kind::kCount),
                   Col("wakes_per_h", "wakes an hour", Kind::kNumber, "1/h"),
                   Col("top_wake_reasons", "top wake reasons", Kind::kText),
                   Col("thermal_max", "thermal max", Kind::kNumber)};
  auto maybe = [](const std::optional<double>& v) { return v ? Cell(*v) : Cell(); };
  for (const Night& n : nights) {
    table.rows.push_back({n.day, n.verdict, n.recorded, n.asleep, n.awakeScreenOff, n.screenOn,
                          n.plugged, maybe(n.drain), maybe(n.lostPercent), maybe(n.percentPerHour),
                          maybe(n.asleepMilliwatts), n.wakes, n.wakesPerHour,
                          ReasonsText(n.reasons),
                          n.thermalMax ? Cell(int64_t{*n.thermalMax}) : Cell()});
  }
  return table;
}

}  // namespace tl::host::report
