// The report's battery use by application: the attribution of each day's drain as a table, and
// the top application of a day by energy for its card.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/energy/attribution.h"
#include "host/report/report_table.h"
#include "host/store/sqlite.h"

namespace tl::host::report {

// The store's intervals, the model fitted to them and each day's attribution.
struct EnergyView {
  // visit, when given, sees each interval on battery with the energy it is reckoned to have
  // drawn (its gauge step's energy shared by the model).
  explicit EnergyView(Database& db,
                      const std::function<void(const PowerInterval&)>& visit = nullptr);

  bool recorded = false;  // the store keeps intervals at all
  energy::ModelFit fit;
  std::map<std::string, energy::DayEnergy> days;

  // The application that used the most of day's drain, with its estimated energy.
  std::optional<std::pair<std::string, double>> topApp(const std::string& day) const;
};

Table AppEnergyTable(const EnergyView& view, const std::vector<std::string>& days);

}  // namespace tl::host::report
