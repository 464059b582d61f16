// TLBundleSession::getInfoWithFormatter: a session's object in the session log.
#include <cstdio>

#include "platform/platform.h"
#include "sessions/record_values.h"
#include "sessions/tl_bundle_session.h"
#include "sessions/tl_date_formatter.h"

using nlohmann::json;
using tl::sessions::JsonOf;

namespace {

std::string NameOf(const TLBundleSession::NameTable& table, int64_t code) {
  if (code >= 0 && code <= UINT32_MAX) {
    auto it = table.find(static_cast<uint32_t>(code));
    if (it != table.end()) return it->second;
  }
  char text[48];
  std::snprintf(text, sizeof text, "<unknown-%lld>", static_cast<long long>(code));
  return text;
}

// The event's object, or nothing for a kind that is never written.
std::optional<json> EventObject(const TLSessionEvent& event, const TLDateFormatter& formatter) {
  const uint32_t code = event.appState();
  json object;
  switch ((code & kTLEventClassMask) >> 16) {
    case 0x0:
      object["type"] = "app_session";
      object["duration"] = event.duration();
      // The start of the interval, in 32-bit unsigned arithmetic like the record itself.
      object["date"] = formatter.stringFromDate(event.endtime() - event.duration());
      object["state"] = NameOf(TLBundleSession::appStateNames(), code & ~kTLEventClassMask);
      return object;
    case 0x1:
    case 0x3:
      object["type"] =
          (code & kTLEventClassMask) == kTLEventInstalled ? "app_install" : "app_start_install";
      object["install_type"] =
          NameOf(TLBundleSession::installTypeNames(), code & kTLEventInstallTypeMask);
      object["is_update"] = (code & kTLEventUpdate) != 0;
      object["is_redownload"] = (code & kTLEventRedownload) != 0;
      break;
    case 0x2:
      object["type"] = "app_uninstall";
      break;
    case 0x4:
      object["type"] = "app_install_fail";
      break;
    case 0x5:
      object["type"] = "app_install_cancel";
      break;
    default:
      return std::nullopt;
  }
  object["date"] = formatter.stringFromDate(event.endtime());
  return object;
}

}  // namespace

json TLBundleSession::getInfoWithFormatter(const TLDateFormatter& formatter,
                                           std::vector<TLSessionEvent>* removedEvents) {
  TLLog("processing %s with %d events", TextOrNull(_bundleID), static_cast<int>(events.size()));
  json info;
  info["app_bundleid"] = _bundleID.value_or("");
  // Absent values are written as empty strings, also where a number stands otherwise.
  info["app_cohort"] = _cohort.value_or("");
  info["app_storefront"] = _storeFront ? JsonOf(*_storeFront).value_or("") : json("");
  info["app_build_version"] = _bundleVers.value_or("");
  info["app_version"] = _shortVers.value_or("");
  info["app_sessionreporter_key"] = _vendorID ? _vendorID->text() : "";
  info["app_adamid"] = _adamID ? JsonOf(*_adamID).value_or("") : json("");
  info["app_is_beta"] = _isBeta;
  if (appstate.arch != 0) {
    info["slice_uuid"] = appstate.uuid.text();
    info["app_arch"] = NameOf(archNames(), appstate.arch);
  }
  json list = json::array();
  for (const TLSessionEvent& event : events) {
    if (auto object = EventObject(event, formatter)) list.push_back(std::move(*object));
  }
  info["app_events"] = std::move(list);
  if (removedEvents) {
    // Handed over, not copied: the log costs no second copy of the events.
    *removedEvents = std::move(events);
  }
  events = {};
  return info;
}
