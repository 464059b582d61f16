// The daily report of activated applications to the daily-report service, and the pruning of
// sessions without events that follows it.
#include "platform/platform.h"
#include "platform/statistics_keys.h"
#include "sessions/tl_application_state_change_event_listener.h"

namespace {
constexpr const char* kDailyService = tl::platform::kDailyReportService;
constexpr int64_t kActivatedApplicationsOperation = 2;
}  // namespace

tl::platform::WispRef TLBundleSession::copyBasicInfoSinceLastCheckAsWispObject() {
  if (!active_since_last_check) return nullptr;
  auto entry = tl::platform::Current().ipc().createDictionary();
  active_since_last_check = false;
  if (!entry) return nullptr;
  entry->setString("bundle_id", _bundleID.value_or(""));
  const std::string build = _bundleVers.value_or("???");
  entry->setString("version", _shortVers ? build + " (" + *_shortVers + ")" : build);
  entry->setInt64("adam_id", _adamID ? _adamID->intValue() : 0);
  entry->setUuid("uuid", appstate.uuid);
  entry->setInt64("arch", appstate.arch);
  return entry;
}

void TLApplicationStateChangeEventListener::gatherActivatedInfo() {
  auto& platform = tl::platform::Current();
  const std::map<std::string, SessionRef>* maps[] = {&_activeBundles, &_versedBundles};

  // Every failure here skips the report silently; the pruning below happens in any case.
  if (auto connection = platform.ipc().createConnection(kDailyService, 0)) {
    connection->setEventHandler([](const tl::platform::WispObject& event) {
      TLLog("Error connecting to tldaily for actived apps: %s", event.stringValue().c_str());
    });
    connection->resume();
    auto message = platform.ipc().createDictionary();
    auto list = message ? platform.ipc().createArray() : nullptr;
    if (message && list) {
      message->setInt64("operation", kActivatedApplicationsOperation);
      auto tasking = platform.environment().taskingValue("TLActivatedAppInfo");
      if (tasking && !tasking->boolValue()) {
        // The message still goes out, empty, so that the service always hears from the module.
        TLLog("ActivatedApp data disabled via tasking");
      } else {
        for (const auto* map : maps) {
          for (const auto& [key, session] : *map) {
            if (auto entry = session->copyBasicInfoSinceLastCheckAsWispObject()) {
              list->append(std::move(entry));
            }
          }
        }
      }
      message->setValue("app_data", list);
      TLLog("sending %ld app infos to tldaily", static_cast<long>(list->count()));
      connection->sendMessage(*message);
    }
  }

  // One list of keys for both maps, not cleared in between: the active map's keys (bundle
  // identifiers) never match the versioned map's (version keys).
  std::vector<std::string> idle;
  for (auto* map : {&_activeBundles, &_versedBundles}) {
    for (const auto& [key, session] : *map) {
      if (session->eventCount() == 0) idle.push_back(key);
    }
    for (const std::string& key : idle) map->erase(key);
  }
}
