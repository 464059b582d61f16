// The session log: a one-line object, then the pretty-printed header with every bundle that has
// events spliced into its "sessions_data", staged in a temporary file and moved into the
// diagnostic-log directory; the record files are truncated afterwards.
#include <cstring>

#include "base/saturated_cast.h"
#include "platform/device_paths.h"
#include "platform/platform.h"
#include "sessions/chunked_writer.h"
#include "sessions/record_values.h"
#include "sessions/session_log_layout.h"
#include "sessions/tl_application_state_change_event_listener.h"
#include "sessions/tl_date_formatter.h"
#include "sessions/tl_session_persistence_manager.h"

using nlohmann::json;

namespace {

constexpr char kTimestampFormat[] = "yyyy-MM-dd'T'HH':'mm':'ssZZ";
constexpr char kFileNameFormat[] = "yyyy-MM-dd-HHmmss";

bool Skipped(const TLBundleSession& session, bool filter) {
  return (filter && !session.is_beta()) || session.eventCount() == 0;
}

std::string RegionFormat() {
  auto country = tl::platform::Current().environment().currentLocaleCountryCode();
  if (!country) return "<unknown>";
  if (country->empty()) return "<none>";
  return *country;
}

json Language() {
  auto languages = tl::platform::Current().environment().preference(
      "VeltroLanguages", "Veltro Global Domain", "mobile");
  if (languages && languages->array() && !languages->array()->empty()) {
    const auto& first = languages->array()->front();
    // The first language as it is, whatever its kind.
    if (auto value = tl::sessions::JsonOf(first)) return *value;
  }
  return "<unknown>";
}

}  // namespace

void TLApplicationStateChangeEventListener::writeSessionLog() {
  writeSessionLogUsingBundles(nullptr);
}

void TLApplicationStateChangeEventListener::writeSessionLogUsingBundles(
    const std::vector<SessionList>* given) {
  auto& platform = tl::platform::Current();
  // Without the user's consent, or when tasking says so, only beta builds are reported.
  bool filter;
  if (auto tasking = platform.environment().taskingValue("TLSessionLog")) {
    filter = !tasking->boolValue();
  } else {
    filter = !platform.environment().userConsentedToShareWithDevelopers();
  }
  if (filter) TLLog("Filtering only beta sessions");

  const bool fromRecords = given != nullptr;
  std::vector<SessionList> inMemory;
  if (!given) {
    for (const auto* map : {&_activeBundles, &_versedBundles}) {
      SessionList list;
      for (const auto& [key, session] : *map) list.push_back(session);
      inMemory.push_back(std::move(list));
    }
  }
  const std::vector<SessionList>& bundles = given ? *given : inMemory;

  size_t count = 0;
  for (const SessionList& list : bundles) {
    for (const SessionRef& session : list) {
      if (!Skipped(*session, filter)) ++count;
    }
  }
  if (count == 0) {
    TLLog("Session log: no events recorded");
    TLSessionPersistenceManager::truncateEventLogWithBundleLog(fromRecords);
    return;
  }
  writeSessionData(bundles, fromRecords, filter, count);
}

void TLApplicationStateChangeEventListener::writeSessionData(
    const std::vector<SessionList>& bundles, bool fromRecords, bool filter, size_t count) {
  auto& platform = tl::platform::Current();
  auto& files = platform.files();
  const int64_t writtenAt = tl::SaturatedCast<int64_t>(platform.clock().now());
  TLDateFormatter formatter("en_US_POSIX", kTimestampFormat);

  std::string staging;
  std::unique_ptr<tl::platform::WriteHandle> handle;
  if (files.temporaryDirectory(&staging).ok()) {
    staging += "session.XXXX";
    if (!files.createUniqueFile(staging, &handle).ok()) handle.reset();
  }
  if (!handle) {
    // Nothing is truncated: the records stay for the next attempt.
    TLLog("Unable to create tmp session log");
    return;
  }

  const tl::sessions::SessionLogLayout layout(
      {{"bug_type", "179"}, {"os_version", _OSVersion.empty() ? "<unknown>" : _OSVersion}},
      {{"log_version", 2},
       {"log_timestamp", formatter.stringFromDate(writtenAt)},
       {"region_format", RegionFormat()},
       {"language", Language()},
       {"os_version", _OSVersion},
       {"machine_config", _Model},
       {"sessions_data", json::array()},
       {"scheduled", !fromRecords}});
  tl::sessions::ChunkedWriter out(*handle);
  out.append(layout.head());

  // Written sessions give up their events; they are given back if the log cannot be finished.
  std::vector<std::pair<SessionRef, std::vector<TLSessionEvent>>> taken;
  taken.reserve(count);
  bool firstObject = true;
  for (const SessionList& list : bundles) {
    for (const SessionRef& session : list) {
      if (Skipped(*session, filter)) continue;
      taken.emplace_back(session, std::vector<TLSessionEvent>());
      if (!firstObject) out.text() += tl::sessions::SessionLogLayout::separator();
      firstObject = false;
      session->appendInfoWithFormatter(out, formatter, &taken.back().second);
      out.drain();
    }
  }
  out.append(layout.tail());
  const tl::Status written = out.finish();
  handle.reset();
  if (!written.ok()) {
    TLLog("Unable to write tmp session log: %s", written.message().c_str());
    files.remove(staging).IgnoreError();  // an unfinished log is of no use to anyone
    for (auto& [session, events] : taken) {
      events.insert(events.end(), session->events.begin(), session->events.end());
      session->events = std::move(events);
    }
    return;
  }

  if (tl::Status changed = files.setPermissions(staging, 0644); !changed.ok()) {
    TLLog("Couldn't change the permissions of tempSession log at %s. Error: %s", staging.c_str(),
          changed.message().c_str());
  }
  formatter.setDateFormat(kFileNameFormat);
  const std::string final = std::string(tl::platform::kDiagnosticLogDirectory) + "log-sessions-" +
                            formatter.stringFromDate(writtenAt) + ".session";
  if (tl::Status moved = files.move(staging, final); !moved.ok()) {
    TLLog("Couldn't move tempSession from %s to %s. Error: %s", staging.c_str(), final.c_str(),
          moved.message().c_str());
  } else {
    TLLog("Session log: %d bundles written to %s", static_cast<int>(count), final.c_str());
  }
  // After a failed move too: that period's records are given up.
  TLSessionPersistenceManager::truncateEventLogWithBundleLog(fromRecords);
}
