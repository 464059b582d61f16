// The summary: each day's answers in a few sentences and figures: how long the battery lasted,
// what took it, how the night went, and what was unusual against the device's typical day.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/energy/attribution.h"
#include "host/report/nights.h"

namespace tl::host::report {

// A typical day is the median of up to this many days before it that have the figure, and
// needs at least kLeastTypicalDays of them.
inline constexpr size_t kTypicalDays = 7;
inline constexpr size_t kLeastTypicalDays = 3;
// A figure is unusual at this many times its typical value or more.
inline constexpr double kUnusualRatio = 2.0;
// An application is worth a word only when it took at least this share of the day's drain.
inline constexpr double kLeastAppShare = 0.05;

// What a day's summary is made of.
struct DayFigures {
  std::string day;
  std::optional<double> onBattery;            // s
  std::optional<double> drain;                // mWh
  std::optional<double> drainPercent;         // of the battery's capacity
  std::optional<double> screenOn;             // s on battery
  std::optional<double> screenOnDrain;        // mWh
  const energy::DayEnergy* energy = nullptr;  // its attribution, when the store has one
  const Night* night = nullptr;               // the night that ends on it
};

struct Consumer {
  std::string name;  // an application, or what of the device: "the device awake", ...
  double milliwattHours = 0;
  double sharePercent = 0;  // of the day's drain
};

struct Unusual {
  std::string measure;  // "screen_off_drain_mW", "app_energy_mWh", ...
  std::string subject;  // the application, for an application's figure
  double value = 0;
  double typical = 0;
  std::string text;  // "screen-off drain 2.4× typical (310 mW against 129 mW)"
};

struct DaySummary {
  std::string day;
  std::optional<double> onBattery;       // s
  std::optional<double> usedPercent;     // of the battery's capacity
  std::optional<double> percentPerHour;  // on battery
  std::vector<Consumer> consumers;       // the three biggest, biggest first (estimated)
  std::string nightVerdict;              // empty: no night recorded
  size_t typicalDays = 0;                // the earlier days the typical day is made of
  std::vector<Unusual> unusual;
  std::vector<std::string> sentences;
};

// A summary for each day, in the order given (time order: each is set against those before).
std::vector<DaySummary> Summarize(const std::vector<DayFigures>& days);

}  // namespace tl::host::report
