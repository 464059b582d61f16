// StatsDaemon: the folding of each statistics call and the keeping of daily reports.
#include "host/store/stats_daemon.h"

#include <cmath>

#include "base/saturated_cast.h"

namespace tl::host {

bool IsLowPowerModeDayKey(std::string_view key) {
  constexpr std::string_view kPrefix = kPowerStateKeyPrefix;
  return key.starts_with(kPrefix) && key.substr(kPrefix.size()).starts_with("unplugged_lpm_") &&
         key.find("_24hr.") != std::string_view::npos;
}

void StatsDaemon::fold(std::string_view key, const platform::Value& value) {
  if (key == kBacklightUserSettingKey) {
    store_.pushSample(key, value.doubleValue());
  } else if (const auto* i = std::get_if<int64_t>(&value.storage())) {
    // Nearly every value of a power commit: an integer, most often 0.
    if (*i != kNotApplicable || !IsLowPowerModeDayKey(key)) store_.addScalar(key, *i);
  } else if (value.isNumber() && value.doubleValue() == static_cast<double>(kNotApplicable) &&
             IsLowPowerModeDayKey(key)) {
    return;
  } else if (value.isInteger() || value.isBool()) {
    store_.addScalar(key, value.longLongValue());
  } else {
    store_.addScalar(key, value.doubleValue());
  }
}

void StatsDaemon::scalar(const DeviceMoment& moment, std::string_view key, int64_t value) {
  store_.useDay(DayText(moment.local));
  fold(key, platform::Value(static_cast<long long>(value)));
}

void StatsDaemon::distribution(const DeviceMoment& moment, std::string_view key, double value) {
  store_.pushSample(DayText(moment.local), key, value);
  if (key == kThermalLevelsKey && std::isfinite(value)) {
    addToTimeline(moment, kEventThermal, SaturatedRound<int64_t>(value));
  }
}

void StatsDaemon::batch(const DeviceMoment& moment, const platform::KeyValues* first,
                        const platform::KeyValues* second) {
  store_.useDay(DayText(moment.local));
  if (first) {
    for (const auto& [key, value] : *first) fold(key, value);
    if (intervals_) intervals_->batch(moment, *first);
  }
  if (second) {
    bool histogram = false;
    for (const auto& [key, value] : *second) {
      store_.pushSample(key, value.doubleValue());
      histogram = histogram || std::string_view(key).starts_with(kBrightnessHistogramKeyPrefix);
    }
    if (histogram) {
      addToTimeline(moment, kEventDailyReport, std::nullopt);
      if (intervals_) intervals_->dailyReport();
    }
  }
}

void StatsDaemon::addToTimeline(const DeviceMoment& moment, const char* event,
                                std::optional<int64_t> level) {
  if (!timeline_) return;
  TimelineRow row = RowAt(moment, event);
  row.thermal = level;
  timeline_->add(row);
}

void StatsDaemon::ipc(const DeviceMoment& moment, const std::string& service,
                      const platform::WispObject& message) {
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
  reports_.addActivatedReport(DayText(moment.local), moment.wallClock, apps);
}

}  // namespace tl::host
