// StatsDaemon: the folding of each statistics call and the keeping of daily reports.
#include "host/stats_daemon.h"

namespace tl::host {

void StatsDaemon::scalar(double, std::string_view key, int64_t value) {
  store_.addScalar(localDay_(), key, value);
}

void StatsDaemon::distribution(double, std::string_view key, double value) {
  store_.pushSample(localDay_(), key, value);
}

void StatsDaemon::batch(double, const platform::KeyValues* first,
                        const platform::KeyValues* second) {
  const std::string day = localDay_();
  if (first) {
    for (const auto& [key, value] : *first) {
      if (value.isInteger() || value.isBool()) {
        store_.addScalar(day, key, value.longLongValue());
      } else {
        store_.addScalar(day, key, value.doubleValue());
      }
    }
  }
  if (second) {
    for (const auto& [key, value] : *second) store_.pushSample(day, key, value.doubleValue());
  }
}

void StatsDaemon::ipc(double at, const std::string& service, const platform::WispObject& message) {
  if (service != kDailyReportService) return;
  std::vector<DailyReports::ActivatedApp> apps;
  if (const platform::WispObject* list = message.get("app_data")) {
    for (const auto& entry : list->elements()) {
      DailyReports::ActivatedApp app;
      if (auto* v = entry->get("bundle_id")) app.bundle = v->stringValue();
      if (auto* v = entry->get("version")) app.version = v->stringValue();
      if (auto* v = entry->get("adam_id")) app.adamId = v->int64Value();
      if (auto* v = entry->get("uuid")) app.uuid = v->uuidValue().text();
      if (auto* v = entry->get("arch")) app.arch = v->int64Value();
      apps.push_back(std::move(app));
    }
  }
  reports_.addActivatedReport(localDay_(), at, apps);
}

}  // namespace tl::host
