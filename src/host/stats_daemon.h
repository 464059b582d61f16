// StatsDaemon: the statistics daemon's side of what the module sends: statistics folded into the
// store by local day, and the daily-report service's messages kept as reports.
#pragma once

#include <functional>
#include <string>

#include "host/daily_reports.h"
#include "host/stats_store.h"
#include "platform/output_sink.h"

namespace tl::host {

// The daemon's own daily-report service.
inline constexpr char kDailyReportService[] = "com.veltro.tallyd.tldaily";

// A scalar add adds to the key's value of the local day, a distribution push records a sample,
// and a batch adds its first dictionary as scalars and samples its second.
class StatsDaemon : public platform::OutputSink {
 public:
  // localDay gives the device's local day ("YYYY-MM-DD") at the time of each output.
  StatsDaemon(StatsStore& store, DailyReports& reports, std::function<std::string()> localDay)
      : store_(store), reports_(reports), localDay_(std::move(localDay)) {}

  void scalar(double at, std::string_view key, int64_t value) override;
  void distribution(double at, std::string_view key, double value) override;
  void batch(double at, const platform::KeyValues* first,
             const platform::KeyValues* second) override;
  void ipc(double at, const std::string& service, const platform::WispObject& message) override;

 private:
  StatsStore& store_;
  DailyReports& reports_;
  std::function<std::string()> localDay_;
};

}  // namespace tl::host
