// TLApplicationStateChangeEventListener: start-up, run-state reports, install notices and the
// previous period's records.
#include "sessions/tl_application_state_change_event_listener.h"

#include <cstdio>
#include <cstring>

#include "base/saturated_cast.h"
#include "core/core_state.h"
#include "core/tallyline_module.h"
#include "platform/platform.h"
#include "platform/statistics_keys.h"
#include "sessions/session_records.h"
#include "sessions/sessions_state.h"
#include "sessions/tl_bundle_extension.h"
#include "sessions/tl_session_persistence_manager.h"

namespace {

using tl::platform::Dictionary;
using tl::platform::ProxyRef;
using tl::platform::Value;

constexpr char kWebApplication[] = "com.veltro.webapp";
constexpr char kScheduleActivity[] = "com.veltro.session.schedule";
constexpr int64_t kDefaultScheduleHours = 6;

std::string Describe(const Value* value) {
  if (!value || value->isNull()) return "(null)";
  if (const std::string* text = value->string()) return *text;
  if (value->isBool()) return value->boolValue() ? "1" : "0";
  if (value->isInteger()) return std::to_string(value->longLongValue());
  if (value->isNumber()) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", value->doubleValue());
    return text;
  }
  return "(object)";
}

std::string OSVersion() {
  auto& environment = tl::platform::Current().environment();
  auto version = environment.serverVersion();
  if (!version) version = environment.systemVersion();
  if (!version) return "Unk. Unk. (Unk.)";
  return Describe(Find(*version, "ProductName")) + " " +
         Describe(Find(*version, "ProductVersion")) + " (" +
         Describe(Find(*version, "ProductBuildVersion")) + ")";
}

std::string MachineModel() {
  char machine[64] = {};
  size_t length = sizeof machine;
  tl::platform::Current().kernel().sysctlByName("hw.machine", machine, &length);
  machine[sizeof machine - 1] = '\0';
  return machine;
}

// Whole seconds of the wall clock, as the unsigned 32-bit times of the records.
uint32_t WallClockSeconds() {
  return tl::SaturatedCast<uint32_t>(tl::platform::Current().clock().now());
}

// A map as the dump shows it: one "key = session;" a line between braces.
template <class Map>
std::string DescribeMap(const Map& map) {
  std::string out = "{";
  for (const auto& [key, session] : map) {
    out += "\n    " + key + " = " + session->description() + ";";
  }
  return out + "\n}";
}

}  // namespace

TLApplicationStateChangeEventListener::TLApplicationStateChangeEventListener() {
  auto& platform = tl::platform::Current();
  if (platform.environment()
          .appBooleanPreference("debug-spew", "com.veltro.TLSession")
          .value_or(false)) {
    _debugSession = true;
    TLLog("debugging sessions");
    TLBundleSession::setDebug(true);
  }
  _session_queue = platform.dispatch().createSerialQueue("com.veltro.TLSessionSync",
                                                         tl::platform::QualityOfService::kUtility);
  _OSVersion = OSVersion();
  _Model = MachineModel();

  const bool multiUser = InMultiUserMode();
  // Queued before any source is registered: the previous period's log is written before the first
  // new state change or install notice is handled.
  if (!multiUser) _session_queue->async([this] { writePreviousSessionLog(); });

  _appStateMonitor = platform.applications().createStateMonitor();
  _appStateMonitor->setHandler([this](const Dictionary& info) { applicationStateChanged(info); });
  workspaceObservation_ = platform.applications().addWorkspaceObserver(*this);

  registerForNotification(tl::platform::kDailyReportTrigger, [this] {
    TLLog("gathering app info for tldaily");
    gatherActivatedInfo();
  });
  registerForNotification("com.veltro.session.dump", [this] { dumpSessionData(); });
  if (multiUser) return;

  registerForNotification("com.veltro.session.write", [this] {
    TLLog("writing session log");
    writeSessionLog();
  });
  int64_t hours = kDefaultScheduleHours;
  if (auto tasking = platform.environment().taskingValue("SessionScheduleModuloHours")) {
    hours = tasking->longLongValue();
    if (hours < 1 || hours > 24) hours = kDefaultScheduleHours;
  }
  tl::platform::ActivityCriteria criteria;
  criteria.intervalSeconds = hours * 3600;
  criteria.gracePeriodSeconds = 4 * 3600;
  criteria.requiresScreenSleep = true;
  criteria.repeating = true;
  tl::core::KeepForProcess(platform.activities().registerActivity(
      kScheduleActivity, criteria, [this](tl::platform::ActivityState state) {
        // Only a run does something; completion is neither reported nor deferred.
        if (state != tl::platform::ActivityState::kRun) return;
        _session_queue->async([this] {
          TLLog("scheduled session log");
          writeSessionLog();
        });
      }));
  mem_alerts = platform.dispatch().createMemoryPressureSource(tl::platform::kMemoryPressureWarning,
                                                              *_session_queue);
  if (mem_alerts) {
    mem_alerts->setHandler([this] {
      TLLog("low memory session log");
      writeSessionLog();
    });
    mem_alerts->resume();
  }
}

TLApplicationStateChangeEventListener::~TLApplicationStateChangeEventListener() {
  _appStateMonitor->setHandler(nullptr);
  _appStateMonitor.reset();
  workspaceObservation_.reset();
  _activeBundles.clear();
  _versedBundles.clear();
  _session_queue.reset();
  mem_alerts.reset();
}

void TLApplicationStateChangeEventListener::registerForNotification(const char* name,
                                                                    std::function<void()> handler) {
  // Every registration writes its token into the one shared variable, each over the last; none
  // is ever cancelled, so no token is needed again.
  std::unique_ptr<tl::platform::NotifyRegistration> registration;
  tl::platform::Current()
      .namedNotifications()
      .registerDispatch(
          name, *_session_queue, [handler = std::move(handler)](int32_t) { handler(); },
          &registration)
      .IgnoreError();
  if (!registration) return;
  tl::sessions::Sessions().notifyToken = registration->token();
  tl::core::KeepForProcess(std::move(registration));
}

void TLApplicationStateChangeEventListener::dumpSessionData() const {
  TLLog("dumping session data:\nActive:\n%s\nVersioned:\n%s", DescribeMap(_activeBundles),
        DescribeMap(_versedBundles));
}

void TLApplicationStateChangeEventListener::applicationStateChanged(const Dictionary& info) {
  const double now =
      TLMachAbsoluteTimeIntervalToCBTimeInterval(tl::platform::Current().clock().absoluteTicks());
  const Value* pidValue = Find(info, tl::platform::kAppInfoProcessIdKey);
  const int32_t pid = pidValue && pidValue->isNumber() ? pidValue->intValue() : -1;
  const Value* bundleValue = Find(info, tl::platform::kAppInfoDisplayIdKey);
  if (!bundleValue || !bundleValue->isString()) return;
  std::string bundle = *bundleValue->string();

  if (bundle == kWebApplication && pid >= 0) {
    // A web application runs under a shared bundle: ask the monitor which one it is, and wait
    // for its answer on this delivery queue.
    auto& platform = tl::platform::Current();
    auto answered = platform.dispatch().createSemaphore(0);
    Value answer;
    _appStateMonitor->applicationInfoForPid(pid, [&](const Dictionary& appInfo) {
      const Value* id = Find(appInfo, tl::platform::kAppInfoDisplayIdKey);
      answer = id ? *id : Value();
      answered->signal();
    });
    answered->wait();
    if (!answer.isString()) return;
    bundle = *answer.string();
  }

  const Value* stateValue = Find(info, tl::platform::kAppInfoStateKey);
  if (!stateValue || !stateValue->isNumber()) return;
  uint32_t state = static_cast<uint32_t>(stateValue->longLongValue());
  // An obscured foreground is still the foreground.
  if (state == kTLAppStateForegroundRunningObscured) state = kTLAppStateForegroundRunning;
  const Value* extensionValue = Find(info, tl::platform::kAppInfoExtensionKey);
  const bool extension =
      extensionValue && extensionValue->isNumber() && extensionValue->boolValue();

  _session_queue->async([this, bundle, state, now, pid, extension] {
    updateTask(bundle, state, now, pid, extension);
  });
}

void TLApplicationStateChangeEventListener::updateTask(const std::string& bundle, uint32_t state,
                                                       double at, int32_t pid, bool extension) {
  SessionRef& session = _activeBundles[bundle];
  if (!session) {
    session = TLBundleSession::initBundle(bundle, extension);
    // A version seen before (superseded, uninstalled or installing) comes back to life.
    auto versed = _versedBundles.find(session->versionKey());
    if (versed != _versedBundles.end()) {
      session = std::move(versed->second);
      _versedBundles.erase(versed);
    }
  }
  session->updateState(state, at, pid);
}

void TLApplicationStateChangeEventListener::addProxy(const ProxyRef& proxy, uint32_t event,
                                                     uint32_t at) {
  if (!TLBundleExtension::is3rdParty(*proxy)) return;
  _session_queue->async([this, proxy, event, at] { installTask(proxy, event, at); });
}

void TLApplicationStateChangeEventListener::installTask(const ProxyRef& proxy, uint32_t event,
                                                        uint32_t at) {
  const std::string& bundle = proxy->bundleIdentifier;
  const std::string versionKey = TLBundleExtension::versionedKey(*proxy);
  auto activeIt = _activeBundles.find(bundle);
  auto versedIt = _versedBundles.find(versionKey);
  SessionRef active = activeIt == _activeBundles.end() ? nullptr : activeIt->second;
  SessionRef versed = versedIt == _versedBundles.end() ? nullptr : versedIt->second;

  if (active && versed && active->versionKey() == versionKey) {
    // The same version in both maps should not happen; report it and carry on.
    dumpSessionData();
    const std::string reason = tl::platform::FormatLogLine(
        "Session SimCrash -- RS event %X metadata is duplicated: %s", event, versionKey);
    auto& platform = tl::platform::Current();
    platform.environment().simulateCrash(platform.kernel().processId(), 0xDEADB0DE, reason);
  }

  SessionRef target;
  switch (event & kTLEventClassMask) {
    case kTLEventInstalled:
      if (versed) {
        // The installed version becomes current; another active version is dropped.
        _activeBundles[bundle] = versed;
        _versedBundles.erase(versionKey);
        versed->refreshWithAppProxy(*proxy);
        target = versed;
      } else if (active && active->versionKey() == versionKey) {
        target = active;
      } else {
        if (active) _versedBundles[active->versionKey()] = active;
        target = TLBundleSession::initBundle(bundle, proxy);
        _activeBundles[bundle] = target;
      }
      break;
    case kTLEventUninstalled:
      if (versed) {
        target = versed;
      } else if (active) {
        _activeBundles.erase(bundle);
        _versedBundles[versionKey] = active;
        target = active;
      } else {
        target = TLBundleSession::initBundle(bundle, proxy);
        _versedBundles[versionKey] = target;
      }
      break;
    case kTLEventInstallStarted:
    case kTLEventInstallFailed:
    case kTLEventInstallCancelled:
      if (versed) {
        target = versed;
      } else if (active && active->versionKey() == versionKey) {
        active->refreshWithAppProxy(*proxy);
        _activeBundles.erase(bundle);
        _versedBundles[versionKey] = active;
        target = active;
      } else {
        // Another version that is active stays active.
        target = TLBundleSession::initBundle(bundle, proxy);
        _versedBundles[versionKey] = target;
      }
      break;
    default:
      return;
  }
  target->addEvent(event, 0, at);
}

void TLApplicationStateChangeEventListener::networkUsageChanged(bool) {}

template <class Code, class DebugLine>
void TLApplicationStateChangeEventListener::addProxies(const std::vector<ProxyRef>& proxies,
                                                       Code code, DebugLine debugLine) {
  // One time for the whole notice.
  const uint32_t at = WallClockSeconds();
  for (const ProxyRef& proxy : proxies) {
    const uint32_t event = code(*proxy);
    if (_debugSession) debugLine(*proxy, event);
    addProxy(proxy, event, at);
  }
}

void TLApplicationStateChangeEventListener::applicationsDidInstall(
    const std::vector<ProxyRef>& proxies) {
  addProxies(
      proxies,
      [](const tl::platform::RSApplicationProxy& p) {
        return p.originalInstallType |
               (p.isAppUpdate ? kTLEventInstalled | kTLEventUpdate : kTLEventInstalled) |
               (p.isPurchasedReDownload ? kTLEventRedownload : 0);
      },
      [](const tl::platform::RSApplicationProxy& p, uint32_t event) {
        TLLog("Session: DidInstall       type %d %s %s %s",
              static_cast<int>(event & kTLEventInstallTypeMask),
              event & kTLEventUpdate ? "UP" : "  ", event & kTLEventRedownload ? "RD" : "  ",
              p.bundleIdentifier);
      });
}

void TLApplicationStateChangeEventListener::applicationsDidUninstall(
    const std::vector<ProxyRef>& proxies) {
  addProxies(
      proxies, [](const tl::platform::RSApplicationProxy&) { return kTLEventUninstalled; },
      [](const tl::platform::RSApplicationProxy& p, uint32_t) {
        TLLog("Session: DidUnInstall                  %s", p.bundleIdentifier);
      });
}

void TLApplicationStateChangeEventListener::applicationInstallsDidStart(
    const std::vector<ProxyRef>& proxies) {
  addProxies(
      proxies,
      [](const tl::platform::RSApplicationProxy& p) {
        return p.installType |
               (p.isAppUpdate ? kTLEventInstallStarted | kTLEventUpdate : kTLEventInstallStarted) |
               (p.isPurchasedReDownload ? kTLEventRedownload : 0);
      },
      [](const tl::platform::RSApplicationProxy& p, uint32_t event) {
        TLLog("Session: InstallsDidStart type %d %s    %s",
              static_cast<int>(event & kTLEventInstallTypeMask),
              event & kTLEventUpdate ? "UP" : "  ", p.bundleIdentifier);
      });
}

void TLApplicationStateChangeEventListener::applicationsDidFailToInstall(
    const std::vector<ProxyRef>& proxies) {
  addProxies(
      proxies, [](const tl::platform::RSApplicationProxy&) { return kTLEventInstallFailed; },
      [](const tl::platform::RSApplicationProxy& p, uint32_t) {
        TLLog("Session: DidFailToInstall              %s", p.bundleIdentifier);
      });
}

void TLApplicationStateChangeEventListener::applicationInstallsDidCancel(
    const std::vector<ProxyRef>& proxies) {
  addProxies(
      proxies, [](const tl::platform::RSApplicationProxy&) { return kTLEventInstallCancelled; },
      [](const tl::platform::RSApplicationProxy& p, uint32_t) {
        TLLog("Session: InstallsDidCancel             %s", p.bundleIdentifier);
      });
}

void TLApplicationStateChangeEventListener::writePreviousSessionLog() {
  using tl::sessions::RecordText;
  std::map<uint32_t, SessionRef> sessions;
  TLSessionPersistenceManager::readBundleEntriesUsingBlock([&](std::string_view line, bool* stop) {
    auto record = tl::sessions::ParseBundleRecord(line);
    if (record.is_discarded()) {
      TLLog("Unable to serialize %s", RecordText(line));
      *stop = true;
      return;
    }
    auto session = TLBundleSession::initWithRecordArray(record);
    if (!session) {
      TLLog("Unable to create bundle from %s", RecordText(line));
      *stop = true;
      return;
    }
    // A later record with the same key (keys restart with the daemon) replaces the earlier one.
    sessions[session->key()] = std::move(session);
  });
  TLSessionPersistenceManager::readEventEntriesUsingBlock([&](std::string_view line, bool* stop) {
    auto record = tl::sessions::ParseEventRecord(line);
    if (!record) {
      TLLog("Unable to serialize %s", RecordText(line));
      *stop = true;
      return;
    }
    auto session = sessions.find(record->key);
    if (session == sessions.end()) {
      TLLog("Couldn't find bundle corresponding to key %u", record->key);
      return;
    }
    session->second->appendEvent(TLSessionEvent(record->state, record->duration, record->endtime));
  });
  TLLog("writing previous session log");
  SessionList list;
  for (auto& [key, session] : sessions) list.push_back(std::move(session));
  std::vector<SessionList> bundles = {std::move(list)};
  writeSessionLogUsingBundles(&bundles);
}
