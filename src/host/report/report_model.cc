// The report's model: reading the keys, the timeline and the reports of a store into views.
#include "host/report/report_model.h"

#include <date/tz.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <functional>
#include <map>
#include <memory>
#include <set>

#include "base/saturated_cast.h"
#include "host/exit_codes.h"
#include "host/report/report_energy.h"
#include "host/store/stats_daemon.h"
#include "host/store/timeline.h"
#include "host/version.h"

namespace tl::host::report {

namespace {

// The composite states in the order people read them: on battery first, then plugged in.
constexpr const char* kStates[] = {
    "unplugged",          "unplugged_awake",     "unplugged_screen_on", "unplugged_screen_off",
    "unplugged_asleep",   "unplugged_lpm_on",    "unplugged_lpm_off",   "pluggedin",
    "pluggedin_charging", "pluggedin_screen_on", "pluggedin_screen_off"};
constexpr const char* kDayStates[] = {"unplugged_lpm_on_24hr", "unplugged_lpm_off_24hr"};

// The application keys: active, background, launches, activations, background launches.
constexpr const char* kAppKeys[] = {"appActiveTime.", "appBackgroundActiveTime.", "appLaunchCount.",
                                    "appActivationCount.", "appLaunchBackgroundCount."};

Cell Maybe(std::optional<double> v) { return v ? Cell(*v) : Cell(); }

// Values of the store by day and key. A year holds hundreds of thousands of scalars: each key's
// name is kept once, and a day's scalars are (key, value) pairs in the order of the names.
class Keys {
 public:
  Keys(Database& db) {
    std::vector<KeyRow> rows = ReadKeys(db, "", {});
    std::map<std::string, uint32_t> ids;
    for (const KeyRow& row : rows) {
      if (!row.distribution) ids.emplace(row.key, 0);
    }
    for (auto& [name, id] : ids) {
      id = static_cast<uint32_t>(names_.size());
      names_.push_back(name);
    }
    for (KeyRow& row : rows) {
      ++days_[row.day];
      if (row.distribution) {
        samples_[{row.day, row.key}] = std::move(row);
      } else {
        scalars_[row.day].push_back({ids.at(row.key), row.value.value()});
      }
    }
    for (auto& [day, entries] : scalars_) {
      std::sort(entries.begin(), entries.end(),
                [](const Entry& a, const Entry& b) { return a.id < b.id; });
      entries.shrink_to_fit();
    }
  }
  std::optional<double> scalar(const std::string& day, const std::string& key) const {
    auto name = std::lower_bound(names_.begin(), names_.end(), key);
    if (name == names_.end() || *name != key) return std::nullopt;
    const auto found = range(day, static_cast<uint32_t>(name - names_.begin()),
                             static_cast<uint32_t>(name - names_.begin()) + 1);
    if (found.first == found.second) return std::nullopt;
    return found.first->value;
  }
  const KeyRow* sample(const std::string& day, const std::string& key) const {
    auto it = samples_.find({day, key});
    return it == samples_.end() ? nullptr : &it->second;
  }
  std::optional<double> state(const std::string& day, const std::string& name,
                              const char* measure) const {
    return scalar(day, kPowerStateKeyPrefix + name + "." + measure);
  }
  // Every scalar of day whose key starts with prefix, by the rest of the key.
  std::map<std::string, double> withPrefix(const std::string& day,
                                           const std::string& prefix) const {
    std::map<std::string, double> found;
    auto first = std::lower_bound(names_.begin(), names_.end(), prefix);
    auto last = first;
    while (last != names_.end() && last->starts_with(prefix)) ++last;
    const auto entries = range(day, static_cast<uint32_t>(first - names_.begin()),
                               static_cast<uint32_t>(last - names_.begin()));
    for (auto it = entries.first; it != entries.second; ++it) {
      found[names_[it->id].substr(prefix.size())] = it->value;
    }
    return found;
  }
  std::map<std::string, const KeyRow*> samplesWithPrefix(const std::string& day,
                                                         const std::string& prefix) const {
    std::map<std::string, const KeyRow*> found;
    for (auto it = samples_.lower_bound({day, prefix});
         it != samples_.end() && it->first.first == day && it->first.second.starts_with(prefix);
         ++it) {
      found[it->first.second.substr(prefix.size())] = &it->second;
    }
    return found;
  }
  // Each day the keys name, with how many values it holds.
  const std::map<std::string, size_t>& days() const { return days_; }

 private:
  struct Entry {
    uint32_t id;  // into names_
    double value;
  };
  using Entries = std::vector<Entry>;
  // The day's scalars whose key ids lie in [from, to).
  std::pair<Entries::const_iterator, Entries::const_iterator> range(const std::string& day,
                                                                    uint32_t from,
                                                                    uint32_t to) const {
    auto it = scalars_.find(day);
    if (it == scalars_.end()) return {};
    const Entries& e = it->second;
    auto byId = [](const Entry& entry, uint32_t id) { return entry.id < id; };
    return {std::lower_bound(e.begin(), e.end(), from, byId),
            std::lower_bound(e.begin(), e.end(), to, byId)};
  }

  std::map<std::string, size_t> days_;
  std::vector<std::string> names_;  // sorted
  std::map<std::string, Entries> scalars_;
  std::map<std::pair<std::string, std::string>, KeyRow> samples_;
};

std::optional<double> Rate(std::optional<double> energy, std::optional<double> seconds) {
  if (!energy || !seconds || *seconds <= 0) return std::nullopt;
  return *energy / *seconds * 3600.0;
}

// The moment of day's local clock at seconds past its midnight, in seconds since 1970.
double LocalAt(const date::time_zone* zone, const std::string& day, int64_t seconds) {
  int y = 1970;
  unsigned m = 1, d = 1;
  std::sscanf(day.c_str(), "%d-%u-%u", &y, &m, &d);
  const date::local_seconds local{
      date::local_days{date::year{y} / date::month{m} / date::day{d}}.time_since_epoch() +
      std::chrono::seconds(seconds)};
  if (!zone) return static_cast<double>(local.time_since_epoch().count());
  const auto info = zone->get_info(local);
  // A moment skipped by a change of offset is taken as the change.
  const auto sys = info.result == date::local_info::nonexistent
                       ? info.second.begin
                       : date::sys_seconds(local.time_since_epoch()) - info.first.offset;
  return static_cast<double>(sys.time_since_epoch().count());
}

// The local midnight that starts day, in seconds since 1970.
double Midnight(const date::time_zone* zone, const std::string& day) {
  return LocalAt(zone, day, 0);
}

std::string ShiftDay(const std::string& day, int days) {
  int y = 1970;
  unsigned m = 1, d = 1;
  std::sscanf(day.c_str(), "%d-%u-%u", &y, &m, &d);
  const date::year_month_day next{date::sys_days{date::year{y} / date::month{m} / date::day{d}} +
                                  date::days{days}};
  return date::format("%F", next);
}

std::string NextDay(const std::string& day) { return ShiftDay(day, 1); }

// A day as the store names it, when it is a date of the calendar written as one.
bool IsCalendarDay(const std::string& day) {
  int y = 0;
  unsigned m = 0, d = 0;
  if (day.size() != 10 || std::sscanf(day.c_str(), "%4d-%2u-%2u", &y, &m, &d) != 3) return false;
  const date::year_month_day ymd{date::year{y} / date::month{m} / date::day{d}};
  return ymd.ok() && date::format("%F", ymd) == day;
}

// A day's text as a sentence may show it: a damaged store may hold any bytes there.
std::string Shown(std::string text) {
  if (text.size() > 40) text = text.substr(0, 40) + "...";
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || static_cast<unsigned char>(c) >= 0x7f) c = '?';
  }
  return text;
}

int64_t DayNumber(const std::string& day) {
  int y = 0;
  unsigned m = 0, d = 0;
  std::sscanf(day.c_str(), "%4d-%2u-%2u", &y, &m, &d);
  return date::sys_days{date::year{y} / date::month{m} / date::day{d}}.time_since_epoch().count();
}

// The days shown: of the calendar days that hold data (and lie within the options), the run of
// days with no gap longer than kLongestGapDays that holds the most of them (the latest of
// equals). A clock not yet set at boot writes a row on 1970-01-01; a damaged store may name a
// day that is no day. Neither may stretch the range so far that the real days drop out: they
// are set apart, each with how many values it holds.
constexpr int64_t kLongestGapDays = 30;

std::vector<std::string> ChooseDays(const std::map<std::string, size_t>& present,
                                    const DayRange& range,
                                    std::vector<std::pair<std::string, size_t>>* outside) {
  std::vector<std::vector<std::string>> runs;
  for (const auto& [day, count] : present) {
    if (!range.contains(day)) continue;
    if (!IsCalendarDay(day)) {
      outside->emplace_back(Shown(day), count);
      continue;
    }
    if (runs.empty() || DayNumber(day) - DayNumber(runs.back().back()) > kLongestGapDays) {
      runs.emplace_back();
    }
    runs.back().push_back(day);
  }
  const std::vector<std::string>* best = nullptr;
  for (const auto& run : runs) {
    if (!best || run.size() >= best->size()) best = &run;
  }
  for (const auto& run : runs) {
    if (&run == best) continue;
    for (const std::string& day : run) outside->emplace_back(day, present.at(day));
  }
  std::sort(outside->begin(), outside->end());
  return best ? *best : std::vector<std::string>();
}

std::vector<std::string> DaysBetween(const std::string& first, const std::string& last) {
  std::vector<std::string> days;
  for (std::string d = first; d <= last && days.size() < 3660; d = NextDay(d)) days.push_back(d);
  return days;
}

// The stretches the daemon ran: from each start to its stop, or to the last row before the
// next start when it ended without one.
std::vector<std::pair<double, double>> RunningStretches(const std::vector<TimelinePoint>& points) {
  std::vector<std::pair<double, double>> running;
  bool open = false;
  double from = 0;
  double last = 0;
  for (const TimelinePoint& p : points) {
    if (p.event == Event::kStart) {
      if (open) running.emplace_back(from, last);
      open = true;
      from = p.at;
    } else if (p.event == Event::kStop) {
      if (open) running.emplace_back(from, p.at);
      open = false;
    }
    last = p.at;
  }
  if (open) running.emplace_back(from, last);
  return running;
}

}  // namespace

const char* EventName(Event event) {
  static constexpr const char* kNames[] = {
      kEventStart,    kEventStop,        kEventWake,    kEventSleep,
      kEventScreenOn, kEventScreenOff,   kEventBattery, kEventLowPowerMode,
      kEventThermal,  kEventDailyReport, "other"};
  return kNames[static_cast<size_t>(event)];
}

const Table* Report::table(const std::string& name) const {
  for (const Table& t : tables) {
    if (t.name == name) return &t;
  }
  return nullptr;
}

std::string LocalClock(double at, int32_t utcOffset, bool seconds) {
  const auto t = date::sys_seconds(std::chrono::seconds(
      SaturatedCast<int64_t>(std::clamp(std::floor(at), -1e12, 1e12)) + utcOffset));
  return date::format(seconds ? "%F %T" : "%F %R", t);
}

namespace {

Event EventOf(const std::string& name) {
  for (uint8_t e = 0; e < static_cast<uint8_t>(Event::kOther); ++e) {
    if (name == EventName(static_cast<Event>(e))) return static_cast<Event>(e);
  }
  return Event::kOther;
}

// What the tables are made of: the store's keys and timeline (its points kept small, with what
// the tables need of its rows), the stretches the daemon ran, and the zone its days are local
// to. The intervals are read once the days are known, for the nights within them.
struct Sources {
  // A moment a report was sent, on the device's clock.
  struct Sent {
    std::string day;
    double at = 0;
    int32_t utcOffset = 0;
  };
  // The last battery reading of a day: its level, and its capacity for percentages.
  struct Battery {
    std::optional<double> level;
    double capacityMilliwattHours = 0;
  };

  Sources(Database& db, const date::time_zone* z) : keys(db), zone(z) {
    std::map<std::string, uint16_t> reasonIndex;
    points.reserve(CountTimelineRows(db));
    ForEachTimelineRow(db, [&](const TimelineRow& row) {
      ++timelineDays[row.day];
      TimelinePoint p;
      p.at = row.at;
      p.utcOffset = row.utcOffset;
      p.event = EventOf(row.event);
      if (row.level) p.level = static_cast<float>(*row.level);
      if (row.state) p.state = static_cast<int16_t>(std::clamp(*row.state, -1, INT16_MAX));
      if (row.thermal)
        p.thermal = static_cast<int16_t>(std::clamp<int64_t>(*row.thermal, -1, INT16_MAX));
      if (row.wakeReason && reasons.size() < UINT16_MAX) {
        auto [it, added] =
            reasonIndex.emplace(*row.wakeReason, static_cast<uint16_t>(reasons.size()));
        if (added) reasons.push_back(*row.wakeReason);
        p.wakeReason = it->second;
      }
      points.push_back(p);
      if (row.maxCapacity && row.voltage) {
        lastBattery[row.day] = {row.level, *row.maxCapacity * *row.voltage / 1000.0};
      }
      if (row.event == kEventDailyReport) dailyReports.push_back({row.day, row.at, row.utcOffset});
    });
    hasTimeline = !points.empty();
    running = RunningStretches(points);
  }
  double recordedOn(const std::string& day) const {
    return Overlap(running, Midnight(zone, day), Midnight(zone, NextDay(day)));
  }
  // The device's offset from UTC at a moment, as the timeline last recorded it.
  int32_t offsetAt(double at) const {
    auto it = std::upper_bound(points.begin(), points.end(), at,
                               [](double t, const TimelinePoint& p) { return t < p.at; });
    if (it == points.begin()) return points.empty() ? 0 : points.front().utcOffset;
    return std::prev(it)->utcOffset;
  }

  const Keys keys;
  std::vector<TimelinePoint> points;
  std::vector<std::string> reasons{""};
  std::map<std::string, size_t> timelineDays;  // rows of each day
  std::map<std::string, Battery> lastBattery;
  std::vector<Sent> dailyReports;
  bool hasTimeline = false;
  std::vector<std::pair<double, double>> running;
  const date::time_zone* zone;
  std::unique_ptr<EnergyView> energy;
  std::vector<NightWindow> nightWindows;
};

// The store's meta rows, and the zone its days are local to (UTC when this machine does not
// know the store's).
const date::time_zone* ReadMeta(Database& db, Report& report) {
  if (db.hasTable("meta")) {
    Statement list = db.prepare("SELECT name, value FROM meta ORDER BY name");
    while (list.row()) report.meta.emplace_back(list.columnText(0), list.columnText(1));
  }
  report.timeZone = "UTC";
  for (const auto& [name, value] : report.meta) {
    if (name == "time_zone" && !value.empty()) report.timeZone = value;
  }
  try {
    return date::locate_zone(report.timeZone);
  } catch (const std::exception&) {
    report.timeZone += " (unknown here: days drawn in UTC)";
    return nullptr;
  }
}

// The days shown, each with its midnight and the one after the last.
void ChooseReportDays(const Sources& in, const ReportOptions& options, Report& report) {
  std::map<std::string, size_t> present = in.keys.days();
  for (const auto& [day, count] : in.timelineDays) present[day] += count;
  report.days = ChooseDays(present, options.days, &report.outside);
  for (const std::string& day : options.compare) {
    if (!present.count(day)) {
      throw CommandError(kExitUsage, "--compare " + day + ": the store holds nothing of that day");
    }
  }
  if (report.days.empty()) return;
  report.days = DaysBetween(report.days.front(), report.days.back());
  for (const std::string& day : report.days) report.midnights.push_back(Midnight(in.zone, day));
  report.midnights.push_back(Midnight(in.zone, NextDay(report.days.back())));
}

// The timeline, and the stretches nobody recorded within the days shown. The points move to
// the report.
void AddTimeline(Sources& in, Report& report) {
  const double rangeFrom = report.midnights.empty() ? 0 : report.midnights.front();
  const double rangeTo = report.midnights.empty() ? 0 : report.midnights.back();
  double covered = rangeFrom;
  for (const auto& [a, b] : in.running) {
    if (b <= rangeFrom || a >= rangeTo) continue;
    if (a > covered) {
      report.notRecorded.push_back(
          {covered, a,
           covered == rangeFrom ? "before the daemon started" : "the daemon was not running"});
    }
    covered = std::max(covered, b);
  }
  if (!report.days.empty() && covered < rangeTo) {
    report.notRecorded.push_back(
        {covered, rangeTo,
         in.running.empty() ? "no timeline in the store" : "after the daemon stopped"});
  }
  for (Stretch& s : report.notRecorded) s.utcOffset = in.offsetAt(s.from);
  std::vector<TimelinePoint>& points = in.points;
  auto byTime = [](const TimelinePoint& p, double t) { return p.at < t; };
  points.erase(std::upper_bound(points.begin(), points.end(), rangeTo,
                                [](double t, const TimelinePoint& p) { return t < p.at; }),
               points.end());
  points.erase(points.begin(), std::lower_bound(points.begin(), points.end(), rangeFrom, byTime));
  report.timeline = std::move(points);
  report.wakeReasons = std::move(in.reasons);
}

// "3 days outside the recorded range, ... are left out: 1970-01-01 (2 values), ...".
std::string OutsideNote(const std::vector<std::pair<std::string, size_t>>& outside) {
  std::string days;
  for (const auto& [day, count] : outside) {
    if (days.size() > 200) {
      days += ", ...";
      break;
    }
    days += (days.empty() ? "" : ", ") + (day.empty() ? std::string("(no day)") : day) + " (" +
            std::to_string(count) + (count == 1 ? " value)" : " values)");
  }
  return std::to_string(outside.size()) + (outside.size() == 1 ? " day" : " days") +
         " outside the recorded range, far from the other days or no date of the calendar, are "
         "left out: " +
         days + ".";
}

// What the reports of the days cover. Reports sent on their own day at the same local time, as
// they are day after day, say so in one sentence; the others each have their own (the first
// ten of them).
void AddSent(const std::vector<Sources::Sent>& sent, Report& report,
             const std::function<std::string(const Sources::Sent&)>& one, const std::string& what) {
  constexpr size_t kLeastRepeated = 3;
  constexpr size_t kMostSingles = 10;
  std::map<std::string, std::vector<const Sources::Sent*>> byTime;
  std::vector<const Sources::Sent*> singles;
  for (const Sources::Sent& s : sent) {
    const std::string local = LocalClock(s.at, s.utcOffset);
    if (local.substr(0, 10) == s.day) {
      byTime[local.substr(11)].push_back(&s);
    } else {
      singles.push_back(&s);
    }
  }
  for (auto& [time, group] : byTime) {
    if (group.size() < kLeastRepeated) {
      singles.insert(singles.end(), group.begin(), group.end());
      continue;
    }
    report.reading.push_back("The " + what + " of " + std::to_string(group.size()) + " days, " +
                             group.front()->day + " to " + group.back()->day +
                             ", each cover the 24 hours to " + time + " of their day.");
  }
  std::sort(singles.begin(), singles.end(),
            [](const Sources::Sent* a, const Sources::Sent* b) { return a->at < b->at; });
  for (size_t i = 0; i < singles.size() && i < kMostSingles; ++i) {
    report.reading.push_back(one(*singles[i]));
  }
  if (singles.size() > kMostSingles) {
    report.reading.push_back("... and " + std::to_string(singles.size() - kMostSingles) + " more " +
                             what + " at other times.");
  }
}

// How to read the report, and what the daily reports of the days asked for cover.
void AddReading(Database& db, const Sources& in, const ReportOptions& options, Report& report) {
  report.reading = {
      "Days are local days in " + report.timeZone + ".",
      "Times are h:mm; energy is in mWh drawn from the battery (a negative value is charge "
      "gained); power is in mW; battery levels are percent of the full charge.",
      "An interval of a power state counts on the local day it ends, so a day's times need not "
      "add up to 24 hours; the unaccounted row says by how much they differ from the time the "
      "daemon ran that day (time before a daemon's first measurement is never booked).",
      "n/a marks a value that does not apply, such as the low-power-mode day energy of the "
      "condition that was not current."};
  if (!report.outside.empty()) report.reading.push_back(OutsideNote(report.outside));
  std::vector<Sources::Sent> daily;
  for (const Sources::Sent& sent : in.dailyReports) {
    if (options.days.contains(sent.day)) daily.push_back(sent);
  }
  AddSent(
      daily, report,
      [](const Sources::Sent& s) {
        return "The daily report of " + s.day + " (brightness, network) covers " +
               LocalClock(s.at - 86400, s.utcOffset) + " to " + LocalClock(s.at, s.utcOffset) + ".";
      },
      "daily reports (brightness, network)");
  if (!db.hasTable("activated_reports")) return;
  std::vector<Sources::Sent> activated;
  Statement list = db.prepare("SELECT day, at FROM activated_reports ORDER BY at");
  while (list.row()) {
    const std::string day = list.columnText(0);
    if (!options.days.contains(day)) continue;
    const double at = list.columnDouble(1);
    const bool before = in.points.empty() || at < in.points.front().at;
    activated.push_back({day, at, before ? 0 : in.offsetAt(at)});
  }
  AddSent(
      activated, report,
      [](const Sources::Sent& s) {
        return "The activated-apps report of " + s.day + " covers the 24 hours to " +
               LocalClock(s.at, s.utcOffset) + ".";
      },
      "activated-apps reports");
}

// An application's values of a day: active, background, launches, activations, background
// launches (the order of kAppKeys).
struct App {
  double values[5] = {0, 0, 0, 0, 0};
};

std::map<std::string, App> AppsOf(const Keys& keys, const std::string& day) {
  std::map<std::string, App> apps;
  for (int k = 0; k < 5; ++k) {
    for (const auto& [bundle, value] : keys.withPrefix(day, kAppKeys[k])) {
      apps[bundle].values[k] = value;
    }
  }
  return apps;
}

Cell Count(std::optional<double> v) { return v ? Cell(SaturatedCast<int64_t>(*v)) : Cell(); }

Table DaysTable() {
  Table days{"days", "Days", "", {}, {}};
  days.columns = {Col("day", "day", Kind::kDay),
                  Col("on_battery_s", "on battery", Kind::kDuration, "s"),
                  Col("drain_mWh", "drain", Kind::kEnergy, "mWh"),
                  Col("drain_pct_of_capacity", "of capacity", Kind::kPercent, "%"),
                  Col("mean_drain_mW", "mean drain", Kind::kPower, "mW"),
                  Col("screen_on_s", "screen on", Kind::kDuration, "s"),
                  Col("screen_on_drain_mWh", "screen-on drain", Kind::kEnergy, "mWh"),
                  Col("screen_on_mW", "screen-on rate", Kind::kPower, "mW"),
                  Col("screen_off_s", "screen off", Kind::kDuration, "s"),
                  Col("screen_off_drain_mWh", "screen-off drain", Kind::kEnergy, "mWh"),
                  Col("screen_off_mW", "screen-off rate", Kind::kPower, "mW"),
                  Col("asleep_s", "asleep on battery", Kind::kDuration, "s"),
                  Col("wakes", "wakes", Kind::kCount),
                  Col("battery_level_pct", "last battery level", Kind::kPercent, "%"),
                  Col("top_app", "top app", Kind::kText),
                  Col("top_app_active_s", "top app active", Kind::kDuration, "s"),
                  Col("recorded_s", "recorded", Kind::kDuration, "s"),
                  Col("top_app_by_energy", "top app by energy", Kind::kText),
                  Col("top_app_energy_mWh", "its energy (est.)", Kind::kEnergy, "mWh"),
                  Col("night", "night", Kind::kText)};
  return days;
}

// A day's card: its row of the days table; night, the night that ends on it, if recorded.
std::vector<Cell> DayCard(const Sources& in, const std::string& day, const Night* night) {
  const Keys& keys = in.keys;
  const auto onBattery = keys.state(day, "unplugged", "duration");
  const auto drain = keys.state(day, "unplugged", "energy");
  const auto onSeconds = keys.state(day, "unplugged_screen_on", "duration");
  const auto onDrain = keys.state(day, "unplugged_screen_on", "energy");
  const auto offSeconds = keys.state(day, "unplugged_screen_off", "duration");
  const auto offDrain = keys.state(day, "unplugged_screen_off", "energy");
  std::optional<double> percent, level;
  if (auto it = in.lastBattery.find(day); it != in.lastBattery.end()) {
    const double capacity = it->second.capacityMilliwattHours;
    if (drain && capacity > 0) percent = *drain / capacity * 100.0;
    level = it->second.level;
  }
  const auto dayApps = AppsOf(keys, day);
  const std::pair<const std::string, App>* top = nullptr;
  for (const auto& entry : dayApps) {
    if (entry.second.values[0] > 0 && (!top || entry.second.values[0] > top->second.values[0])) {
      top = &entry;
    }
  }
  const auto byEnergy = in.energy->topApp(day);
  return {day,
          Maybe(onBattery),
          Maybe(drain),
          Maybe(percent),
          Maybe(Rate(drain, onBattery)),
          Maybe(onSeconds),
          Maybe(onDrain),
          Maybe(Rate(onDrain, onSeconds)),
          Maybe(offSeconds),
          Maybe(offDrain),
          Maybe(Rate(offDrain, offSeconds)),
          Maybe(keys.state(day, "unplugged_asleep", "duration")),
          Count(keys.scalar(day, kWakeCountKey)),
          Maybe(level),
          top ? Cell(top->first) : Cell(),
          top ? Cell(top->second.values[0]) : Cell(),
          in.hasTimeline ? Cell(in.recordedOn(day)) : Cell(),
          byEnergy ? Cell(byEnergy->first) : Cell(),
          byEnergy ? Cell(byEnergy->second) : Cell(),
          night ? Cell(night->verdict) : Cell()};
}

Table StatesTable(const Sources& in, const std::vector<std::string>& days) {
  Table states{"states", "Time and energy per power state", "", {}, {}};
  states.columns = {Col("day", "day", Kind::kDay),
                    Col("state", "state", Kind::kText),
                    Col("duration_s", "time", Kind::kDuration, "s"),
                    Col("energy_mWh", "energy", Kind::kEnergy, "mWh"),
                    Col("power_mW", "power", Kind::kPower, "mW"),
                    Col("exits", "exits", Kind::kCount)};
  states.note =
      "Unaccounted is the time the daemon ran that day less the time booked to plugged in and "
      "unplugged; the _24hr rows hold the energy of the low-power-mode condition that was "
      "current (n/a when it never was).";
  const Keys& keys = in.keys;
  for (const std::string& day : days) {
    for (const char* name : kStates) {
      const auto seconds = keys.state(day, name, "duration");
      const auto energy = keys.state(day, name, "energy");
      states.rows.push_back({day, std::string(name), Maybe(seconds), Maybe(energy),
                             Maybe(Rate(energy, seconds)), Count(keys.state(day, name, "count"))});
    }
    for (const char* name : kDayStates) {
      states.rows.push_back(
          {day, std::string(name), Cell(), Maybe(keys.state(day, name, "energy")), Cell(), Cell()});
    }
    const auto onBattery = keys.state(day, "unplugged", "duration");
    const auto plugged = keys.state(day, "pluggedin", "duration");
    std::optional<double> unaccounted;
    if (in.hasTimeline) {
      unaccounted = in.recordedOn(day) - onBattery.value_or(0) - plugged.value_or(0);
    }
    states.rows.push_back(
        {day, std::string("unaccounted"), Maybe(unaccounted), Cell(), Cell(), Cell()});
  }
  return states;
}

Table AppsTable(const Keys& keys, const std::vector<std::string>& days) {
  Table apps{"apps",
             "Applications",
             "Active is time in the foreground, bg time in the background; change is the active "
             "time against the day before.",
             {},
             {}};
  apps.columns = {Col("day", "day", Kind::kDay),
                  Col("bundle", "application", Kind::kText),
                  Col("active_s", "active", Kind::kDuration, "s"),
                  Col("background_s", "bg time", Kind::kDuration, "s"),
                  Col("launches", "launches", Kind::kCount),
                  Col("activations", "activations", Kind::kCount),
                  Col("background_launches", "bg launches", Kind::kCount),
                  Col("active_change_s", "change", Kind::kDuration, "s")};
  for (size_t index = 0; index < days.size(); ++index) {
    const std::string& day = days[index];
    const auto dayApps = AppsOf(keys, day);
    std::vector<std::pair<std::string, App>> sorted(dayApps.begin(), dayApps.end());
    std::stable_sort(sorted.begin(), sorted.end(), [](const auto& a, const auto& b) {
      return a.second.values[0] > b.second.values[0];
    });
    const auto before = AppsOf(keys, index == 0 ? "" : days[index - 1]);
    for (const auto& [bundle, app] : sorted) {
      auto previous = before.find(bundle);
      const double was = previous == before.end() ? 0 : previous->second.values[0];
      apps.rows.push_back({day, bundle, app.values[0], app.values[1], Count(app.values[2]),
                           Count(app.values[3]), Count(app.values[4]),
                           index > 0 ? Cell(app.values[0] - was) : Cell()});
    }
  }
  return apps;
}

Table WakesTable(const Keys& keys, const std::vector<std::string>& days) {
  Table wakes{"wakes", "Wake reasons", "A wake can have several reasons.", {}, {}};
  wakes.columns = {Col("day", "day", Kind::kDay), Col("reason", "reason", Kind::kText),
                   Col("wakes", "wakes", Kind::kCount)};
  for (const std::string& day : days) {
    for (const auto& [reason, n] : keys.withPrefix(day, kWakeReasonKeyPrefix)) {
      wakes.rows.push_back({day, reason, Count(n)});
    }
  }
  return wakes;
}

// "040_050" reads as 40–50 %.
std::string BucketLabel(const std::string& bucket) {
  int low = 0, high = 0;
  if (bucket.size() == 7 && bucket[3] == '_' &&
      std::from_chars(bucket.data(), bucket.data() + 3, low).ptr == bucket.data() + 3 &&
      std::from_chars(bucket.data() + 4, bucket.data() + 7, high).ptr == bucket.data() + 7) {
    return std::to_string(low) + "-" + std::to_string(high) + " %";
  }
  return bucket;
}

Table BrightnessTable(const Keys& keys, const std::vector<std::string>& days) {
  Table brightness{"brightness",
                   "Brightness histogram",
                   "Time at each backlight level over the 24 hours each daily report covers.",
                   {},
                   {}};
  brightness.columns = {Col("day", "day", Kind::kDay), Col("bucket", "brightness", Kind::kText),
                        Col("duration_s", "time", Kind::kDuration, "s"),
                        Col("reports", "reports", Kind::kCount)};
  for (const std::string& day : days) {
    for (const auto& [bucket, row] : keys.samplesWithPrefix(day, kBrightnessHistogramKeyPrefix)) {
      brightness.rows.push_back({day, BucketLabel(bucket), row->sum, row->count});
    }
  }
  return brightness;
}

Table SettingTable(const Keys& keys, const std::vector<std::string>& days) {
  Table setting{"backlight_setting", "Brightness setting at power events", "", {}, {}};
  setting.columns = {Col("day", "day", Kind::kDay), Col("samples", "samples", Kind::kCount),
                     Col("mean_pct", "mean", Kind::kPercent, "%"),
                     Col("min_pct", "min", Kind::kPercent, "%"),
                     Col("max_pct", "max", Kind::kPercent, "%")};
  for (const std::string& day : days) {
    if (const KeyRow* s = keys.sample(day, kBacklightUserSettingKey); s && s->count > 0) {
      setting.rows.push_back(
          {day, s->count, s->sum / static_cast<double>(s->count), s->min, s->max});
    }
  }
  return setting;
}

Table LowPowerModeTable(const Keys& keys, const std::vector<std::string>& days) {
  Table lpm{"low_power_mode",
            "Low-power mode switches",
            "The battery level is the module's, rounded up to a multiple of 10.",
            {},
            {}};
  lpm.columns = {Col("day", "day", Kind::kDay), Col("switch", "switched", Kind::kText),
                 Col("battery_level_pct", "at battery level", Kind::kPercent, "%"),
                 Col("times", "times", Kind::kCount)};
  for (const std::string& day : days) {
    for (const auto& [rest, n] : keys.withPrefix(day, kPowerStateKeyPrefix)) {
      // "70.LPM.enable"
      const size_t dot = rest.find(".LPM.");
      int64_t level = 0;
      if (dot == std::string::npos ||
          std::from_chars(rest.data(), rest.data() + dot, level).ptr != rest.data() + dot) {
        continue;
      }
      const std::string what = rest.substr(dot + 5);
      if (what != "enable" && what != "disable") continue;
      lpm.rows.push_back({day, std::string(what == "enable" ? "on" : "off"), level, Count(n)});
    }
  }
  return lpm;
}

Table ThermalTable(const Keys& keys, const std::vector<std::string>& days) {
  Table thermal{"thermal", "Thermal level", "", {}, {}};
  thermal.columns = {Col("day", "day", Kind::kDay), Col("samples", "reports", Kind::kCount),
                     Col("min", "min", Kind::kNumber), Col("mean", "mean", Kind::kNumber),
                     Col("max", "max", Kind::kNumber)};
  for (const std::string& day : days) {
    if (const KeyRow* s = keys.sample(day, kThermalLevelsKey); s && s->count > 0) {
      thermal.rows.push_back(
          {day, s->count, s->min, s->sum / static_cast<double>(s->count), s->max});
    }
  }
  return thermal;
}

Table NetworkTable(const Keys& keys, const std::vector<std::string>& days) {
  Table network{"network", "Network errors", "Counter increases over each daily report.", {}, {}};
  network.columns = {Col("day", "day", Kind::kDay), Col("interface", "interface", Kind::kText),
                     Col("counter", "counter", Kind::kText),
                     Col("increase", "increase", Kind::kCount)};
  for (const std::string& day : days) {
    for (const auto& [rest, n] : keys.withPrefix(day, kNetstatsKeyPrefix)) {
      const size_t dot = rest.rfind('.');
      if (dot == std::string::npos) continue;
      network.rows.push_back({day, rest.substr(0, dot), rest.substr(dot + 1), Count(n)});
    }
  }
  return network;
}

// The day cards' numbers and each state's time, day by day, with the difference of each later
// day from the first.
Table CompareTable(const Sources& in, const std::vector<std::string>& compared,
                   const Table& cards) {
  Table compare{"compare", "Compare", "Differences are against " + compared.front() + ".", {}, {}};
  compare.columns = {Col("measure", "measure", Kind::kText), Col("unit", "unit", Kind::kText)};
  for (const std::string& day : compared) compare.columns.push_back(Col(day, day, Kind::kNumber));
  for (size_t i = 1; i < compared.size(); ++i) {
    compare.columns.push_back(Col("change_" + compared[i], compared[i] + " change", Kind::kNumber));
  }
  std::map<std::string, std::vector<Cell>> cardOf;
  for (const std::string& day : compared) cardOf[day] = DayCard(in, day, nullptr);
  auto add = [&](const std::string& measure, const std::string& unit,
                 const std::function<std::optional<double>(const std::string&)>& of) {
    std::vector<Cell> row{measure, unit};
    std::vector<std::optional<double>> values;
    for (const std::string& day : compared) {
      values.push_back(of(day));
      row.push_back(Maybe(values.back()));
    }
    for (size_t i = 1; i < values.size(); ++i) {
      Cell change;
      if (values[i] && values[0]) change = *values[i] - *values[0];
      row.push_back(std::move(change));
    }
    compare.rows.push_back(std::move(row));
  };
  for (size_t c = 1; c < cards.columns.size(); ++c) {
    const Column& column = cards.columns[c];
    if (column.kind == Kind::kText) continue;
    add(column.header, column.unit,
        [&](const std::string& day) -> std::optional<double> { return NumberOf(cardOf[day][c]); });
  }
  for (const char* name : kStates) {
    add(std::string(name) + " time", "s",
        [&](const std::string& day) { return in.keys.state(day, name, "duration"); });
  }
  return compare;
}

// The nights that end on each day shown, as local windows.
std::vector<NightWindow> NightWindows(const Sources& in, const std::vector<std::string>& days) {
  std::vector<NightWindow> windows;
  for (const std::string& day : days) {
    windows.push_back({day, LocalAt(in.zone, ShiftDay(day, -1), int64_t{kNightStartsHour} * 3600),
                       LocalAt(in.zone, day, int64_t{kNightEndsHour} * 3600)});
  }
  return windows;
}

// A day's figures for its summary, from its card.
DayFigures FiguresOf(const Table& days, const std::vector<Cell>& card, const EnergyView& energy,
                     const Night* night) {
  auto column = [&](const char* name) -> std::optional<double> {
    for (size_t c = 0; c < days.columns.size(); ++c) {
      if (days.columns[c].name == name) return NumberOf(card[c]);
    }
    return std::nullopt;
  };
  DayFigures f;
  f.day = std::get<std::string>(card[0]);
  f.onBattery = column("on_battery_s");
  f.drain = column("drain_mWh");
  f.drainPercent = column("drain_pct_of_capacity");
  f.screenOn = column("screen_on_s");
  f.screenOnDrain = column("screen_on_drain_mWh");
  auto it = energy.days.find(f.day);
  if (it != energy.days.end()) f.energy = &it->second;
  f.night = night;
  return f;
}

}  // namespace

Report BuildReport(Database& db, const ReportOptions& options) {
  Report report;
  report.version = kTallydVersion;
  Sources in(db, ReadMeta(db, report));
  ChooseReportDays(in, options, report);
  const std::vector<NightWindow> windows = NightWindows(in, report.days);
  NightEnergy nightEnergy(windows);
  in.energy = std::make_unique<EnergyView>(
      db, [&](const PowerInterval& interval) { nightEnergy.add(interval); });
  report.nights = FindNights(windows, in.points, in.reasons, in.running,
                             in.energy->recorded ? &nightEnergy : nullptr);
  if (options.pageTimeline) {
    PageSampler sampler;
    int32_t offset = in.points.empty() ? 0 : in.points.front().utcOffset;
    std::erase_if(in.points, [&](const TimelinePoint& p) {
      const bool changed = sampler.state(p).has_value();
      const bool level = sampler.level(p, changed).has_value();
      const bool moved = p.utcOffset != offset;  // the offsets of the times shown stay right
      offset = p.utcOffset;
      return p.event == Event::kBattery && !changed && !level && !moved;
    });
    in.points.shrink_to_fit();
  }
  AddReading(db, in, options, report);

  std::map<std::string, const Night*> nightOf;
  for (const Night& night : report.nights) nightOf[night.day] = &night;
  Table days = DaysTable();
  std::vector<DayFigures> figures;
  for (const std::string& day : report.days) {
    const Night* night = nightOf.count(day) ? nightOf[day] : nullptr;
    days.rows.push_back(DayCard(in, day, night));
    figures.push_back(FiguresOf(days, days.rows.back(), *in.energy, night));
  }
  report.summary = Summarize(figures);
  const std::vector<std::string>& shown = report.days;
  report.tables = {std::move(days),
                   StatesTable(in, shown),
                   AppsTable(in.keys, shown),
                   AppEnergyTable(*in.energy, shown),
                   NightsTable(report.nights),
                   WakesTable(in.keys, shown),
                   BrightnessTable(in.keys, shown),
                   SettingTable(in.keys, shown),
                   LowPowerModeTable(in.keys, shown),
                   ThermalTable(in.keys, shown),
                   NetworkTable(in.keys, shown)};
  if (!options.compare.empty()) {
    report.tables.push_back(CompareTable(in, options.compare, report.tables.front()));
  }
  AddTimeline(in, report);
  return report;
}

}  // namespace tl::host::report
