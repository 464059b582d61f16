// TLBundleSession: initialisers, the run-state machine, refreshing and descriptions.
#include "sessions/tl_bundle_session.h"

#include <cmath>
#include <cstdio>
#include <cstring>

#include "base/no_destructor.h"
#include "base/saturated_cast.h"
#include "platform/platform.h"
#include "sessions/session_records.h"
#include "sessions/sessions_state.h"
#include "sessions/tl_bundle_extension.h"
#include "sessions/tl_session_persistence_manager.h"

namespace {

constexpr char kLaunchCount[] = "appLaunchCount.";
constexpr char kActivationCount[] = "appActivationCount.";
constexpr char kBackgroundLaunchCount[] = "appLaunchBackgroundCount.";
constexpr char kActiveTime[] = "appActiveTime.";
constexpr char kBackgroundActiveTime[] = "appBackgroundActiveTime.";

const char* NameOrNull(const TLBundleSession::NameTable& table, uint32_t code) {
  auto it = table.find(code);
  return it == table.end() ? "(null)" : it->second.c_str();
}

// Adds value to the bundle's key under prefix. Keys are made at every run-state change, so the
// key is built on the stack when it fits, without a heap allocation.
void AddToBundleKey(std::string_view prefix, const std::optional<std::string>& bundle,
                    int64_t value) {
  const std::string_view name = TextOrNull(bundle);
  char buffer[192];
  if (prefix.size() + name.size() <= sizeof buffer) {
    prefix.copy(buffer, prefix.size());
    name.copy(buffer + prefix.size(), name.size());
    TLClientAddValueForScalarKey(std::string_view(buffer, prefix.size() + name.size()), value);
    return;
  }
  std::string key(prefix);
  key += name;
  TLClientAddValueForScalarKey(key, value);
}

// Seconds rounded to the nearest integer, ties to even, as a signed 32-bit number. Values
// beyond its range give INT32_MIN, as the processor's conversion does.
int32_t RoundedSeconds(double seconds) {
  double rounded = std::nearbyint(seconds);
  if (!(rounded >= INT32_MIN && rounded <= INT32_MAX)) return INT32_MIN;
  return static_cast<int32_t>(rounded);
}

std::optional<StoreNumber> StoreNumberOf(const std::optional<int64_t>& number) {
  if (!number) return std::nullopt;
  return StoreNumber(*number);
}

}  // namespace

std::string_view TextOrNull(const std::optional<std::string>& text) {
  return text ? std::string_view(*text) : std::string_view("(null)");
}

const TLBundleSession::NameTable& TLBundleSession::appStateNames() {
  static const tl::NoDestructor<NameTable> names(NameTable{{0, "unknown"},
                                                           {1, "terminated"},
                                                           {2, "backgroundTaskSuspended"},
                                                           {4, "backgroundRunning"},
                                                           {8, "foregroundRunning"},
                                                           {16, "processServer"},
                                                           {32, "foregroundRunningObscured"}});
  return *names;
}

const TLBundleSession::NameTable& TLBundleSession::installTypeNames() {
  static const tl::NoDestructor<NameTable> names(NameTable{{0, "none"},
                                                           {1, "storeDownload"},
                                                           {2, "restore"},
                                                           {3, "automaticDownload"},
                                                           {4, "sync"},
                                                           {5, "automaticUpdate"},
                                                           {6, "migration"}});
  return *names;
}

const TLBundleSession::NameTable& TLBundleSession::archNames() {
  static const tl::NoDestructor<NameTable> names(NameTable{{1, "arm-32bit"}, {2, "arm-64bit"}});
  return *names;
}

void TLBundleSession::setDebug(bool debug) { tl::sessions::Sessions().debugLogging = debug; }

std::shared_ptr<TLBundleSession> TLBundleSession::initBundle(const std::string& bundle,
                                                             bool isExtension) {
  return initBundle(bundle, isExtension, nullptr, "Tracking %s (via activity)");
}

std::shared_ptr<TLBundleSession> TLBundleSession::initBundle(const std::string& bundle,
                                                             tl::platform::ProxyRef proxy) {
  return initBundle(bundle, false, std::move(proxy), "Tracking %s (via LS)");
}

std::shared_ptr<TLBundleSession> TLBundleSession::initBundle(const std::string& bundle,
                                                             bool isExtension,
                                                             tl::platform::ProxyRef proxy,
                                                             const char* withLogFormatString) {
  auto session = std::make_shared<TLBundleSession>();
  session->_bundleID = bundle;
  session->appstate.state = kTLAppStateTerminated;
  session->is_extension = isExtension;
  session->key_ = TLSessionPersistenceManager::uniqueKey();
  if (!proxy) proxy = tl::platform::Current().applications().proxyForIdentifier(bundle);
  if (proxy) {
    session->_bundleVers = proxy->bundleVersion;
    session->_shortVers = proxy->shortVersionString;
    session->_vendorID = proxy->deviceIdentifierForVendor;
    session->_adamID = StoreNumberOf(proxy->itemID);
    session->_cohort = proxy->storeCohortMetadata;
    session->_storeFront = StoreNumberOf(proxy->storeFront);
    session->_isBeta = TLBundleExtension::isBeta(*proxy);
    session->_is3rdParty = TLBundleExtension::is3rdParty(*proxy);
  }
  TLLog(withLogFormatString, bundle);
  session->persistBundleRecord();
  return session;
}

void TLBundleSession::refreshWithAppProxy(const tl::platform::RSApplicationProxy& proxy) {
  int changes = 0;
  // An absent vendor identifier on the proxy never equals the session's.
  if (!proxy.deviceIdentifierForVendor || proxy.deviceIdentifierForVendor != _vendorID) {
    _vendorID = proxy.deviceIdentifierForVendor;
    ++changes;
  }
  auto storeNumberChanged = [](const std::optional<StoreNumber>& mine,
                               const std::optional<int64_t>& theirs) {
    return mine ? !theirs || StoreNumber(*theirs) != *mine : theirs.has_value();
  };
  if (storeNumberChanged(_adamID, proxy.itemID)) {
    _adamID = StoreNumberOf(proxy.itemID);
    ++changes;
  }
  // An absent cohort on the proxy always counts as a change, even when the session has none.
  if (!proxy.storeCohortMetadata || proxy.storeCohortMetadata != _cohort) {
    _cohort = proxy.storeCohortMetadata;
    ++changes;
  }
  if (storeNumberChanged(_storeFront, proxy.storeFront)) {
    _storeFront = StoreNumberOf(proxy.storeFront);
    ++changes;
  }
  bool beta = TLBundleExtension::isBeta(proxy);
  if (beta != _isBeta) {
    _isBeta = beta;
    ++changes;
  }
  _is3rdParty = TLBundleExtension::is3rdParty(proxy);
  if (changes > 0) {
    // The new key makes the new bundle record the one that later events refer to.
    key_ = TLSessionPersistenceManager::uniqueKey();
    persistBundleRecord();
  }
}

std::string TLBundleSession::description() const {
  std::string text(1, '<');
  text += std::to_string(key_);
  text += '>';
  text.append(TextOrNull(_bundleID)).append(":").append(TextOrNull(_bundleVers)).append(":");
  text.append(TextOrNull(_shortVers)).append(_isBeta ? " [BETA]" : "").append("\r    ");
  for (size_t i = 0; i < events.size(); ++i) {
    if (i > 0) text += "\r    ";
    text += events[i].description();
  }
  return text + "\r";
}

void TLBundleSession::learnExecutable(int32_t pid) {
  auto& kernel = tl::platform::Current().kernel();
  tl::platform::ResourceUsageV0 usage;
  if (kernel.processResourceUsage(pid, tl::platform::kResourceUsageVersion0, &usage) == 0) {
    std::memcpy(appstate.uuid.bytes.data(), usage.uuid, appstate.uuid.bytes.size());
  }
  const int name[] = {tl::platform::kCtlKern, tl::platform::kKernProc, tl::platform::kKernProcPid,
                      pid};
  size_t size = 0;
  if (kernel.sysctl(name, nullptr, &size) != 0) return;
  std::vector<uint8_t> buffer(size);
  if (kernel.sysctl(name, buffer.data(), &size) != 0) return;
  if (size < sizeof(tl::platform::KernelProcessRecord)) return;
  tl::platform::KernelProcessRecord record;
  std::memcpy(&record, buffer.data(), sizeof record);
  appstate.arch = (record.flags & tl::platform::kProcessFlag64BitAddressSpace) ? 2 : 1;
}

void TLBundleSession::updateState(uint32_t state, double at, int32_t fromPid) {
  const uint32_t old = appstate.state;
  if (fromPid != 0 && old == kTLAppStateTerminated) learnExecutable(fromPid);
  // A repeated report of the same state only restarts the interval.
  if (state != old) {
    if (tl::sessions::Sessions().debugLogging) {
      TLLog("AppStateChange: %s (%d) %s => %s", TextOrNull(_bundleID), fromPid,
            NameOrNull(appStateNames(), old), NameOrNull(appStateNames(), state));
    }
    if (state == kTLAppStateBackgroundRunning && old == kTLAppStateTerminated) {
      AddToBundleKey(kBackgroundLaunchCount, _bundleID, 1);
    }
    if (state == kTLAppStateForegroundRunning) {
      if (old == kTLAppStateTerminated) {
        AddToBundleKey(kLaunchCount, _bundleID, 1);
      }
      AddToBundleKey(kActivationCount, _bundleID, 1);
    }
    const int32_t elapsed = RoundedSeconds(at - appstate.since);
    // The daemon receives the 32-bit duration zero-extended.
    const int64_t reported = static_cast<uint32_t>(elapsed);
    if (old == kTLAppStateForegroundRunning) {
      AddToBundleKey(kActiveTime, _bundleID, reported);
      const auto now = tl::SaturatedCast<uint32_t>(tl::platform::Current().clock().now());
      addEvent(old, static_cast<uint32_t>(elapsed), now);
    } else if (elapsed != 0 && old == kTLAppStateBackgroundRunning) {
      AddToBundleKey(kBackgroundActiveTime, _bundleID, reported);
    }
  }
  appstate.state = state;
  appstate.since = at;
}

bool TLBundleSession::isSameVersion(const TLBundleSession* other) const {
  if (!other || !_shortVers || !_bundleVers) return false;
  return _shortVers == other->_shortVers && _bundleVers == other->_bundleVers;
}

std::string TLBundleSession::versionKey() const {
  return TLBundleExtension::versionedKey(TextOrNull(_bundleID), _bundleVers, _shortVers);
}

void TLBundleSession::addEvent(uint32_t state, uint32_t duration, uint32_t at) {
  active_since_last_check = true;
  // Only third-party applications keep events; everything else is counted by its keys alone.
  if (!_is3rdParty || is_extension) return;
  events.emplace_back(state, duration, at);
  char record[tl::sessions::kMaxEventRecordLine];
  const size_t length = tl::sessions::FormatEventRecord({key_, state, duration, at}, record);
  TLSessionPersistenceManager::saveEventRecord({reinterpret_cast<const uint8_t*>(record), length});
  if (tl::sessions::Sessions().debugLogging) {
    TLLog("Session: state 0x%05X duration %3d    %s (events %d)", state, static_cast<int>(duration),
          TextOrNull(_bundleID), static_cast<int>(events.size()));
  }
}

void TLBundleSession::appendEvent(const TLSessionEvent& event) { events.push_back(event); }
