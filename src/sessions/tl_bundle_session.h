// TLBundleSession: one bundle's usage session: run state, counters, recorded events and the
// descriptive data written as its bundle record.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "platform/applications.h"
#include "platform/ipc.h"
#include "platform/uuid.h"
#include "platform/value.h"
#include "sessions/tl_session_event.h"

class TLDateFormatter;
namespace tl::sessions {
class ChunkedWriter;
}

// A store number (item identifier, store front) as it came: an integer from the registry, a
// number of any kind from a record, written back as it came.
using StoreNumber = tl::platform::Value;

// Run-state codes; they are bit values but compared for equality only.
enum TLAppState : uint32_t {
  kTLAppStateUnknown = 0,
  kTLAppStateTerminated = 1,
  kTLAppStateBackgroundTaskSuspended = 2,
  kTLAppStateBackgroundRunning = 4,
  kTLAppStateForegroundRunning = 8,
  kTLAppStateProcessServer = 16,
  kTLAppStateForegroundRunningObscured = 32,
};

// Touched only on the session queue of the application state listener.
class TLBundleSession {
 public:
  using NameTable = std::map<uint32_t, std::string>;

  // What is known of the current run state and the running executable.
  struct AppState {
    uint32_t state = kTLAppStateTerminated;
    double since = 0;  // time stamp of the last state report, on the caller's clock
    int32_t arch = 0;  // 0 unknown, 1 32-bit, 2 64-bit
    tl::platform::Uuid uuid;
  };

  // A bundle first seen by the run-state monitor: "Tracking %@ (via activity)".
  static std::shared_ptr<TLBundleSession> initBundle(const std::string& bundle, bool isExtension);
  // A bundle first seen by the registry: not an extension, "Tracking %@ (via LS)".
  static std::shared_ptr<TLBundleSession> initBundle(const std::string& bundle,
                                                     tl::platform::ProxyRef withAppProxy);
  // The designated initialiser: without a proxy the registry's proxy for bundle is used.
  static std::shared_ptr<TLBundleSession> initBundle(const std::string& bundle, bool isExtension,
                                                     tl::platform::ProxyRef withAppProxy,
                                                     const char* withLogFormatString);
  // Rebuilds a session from a bundle record (a JSON array); nothing when it is no array.
  static std::shared_ptr<TLBundleSession> initWithRecordArray(const nlohmann::json& array);

  // Takes over changed store data; a change gives the session a new key and a new bundle record.
  void refreshWithAppProxy(const tl::platform::RSApplicationProxy& proxy);
  uint32_t key() const { return key_; }
  std::string description() const;
  bool is_beta() const { return _isBeta; }

  // A run-state report: state S at time stamp at (seconds, caller's clock) from process fromPid
  // (0 skips the process queries).
  void updateState(uint32_t state, double at, int32_t fromPid);

  bool isSameVersion(const TLBundleSession* other) const;
  // "bundle:version:short version".
  std::string versionKey() const;
  // Records an interval or install event: kept and written only for third-party applications.
  void addEvent(uint32_t state, uint32_t duration, uint32_t at);
  // Takes an event read back from the record files, without writing anything.
  void appendEvent(const TLSessionEvent& event);
  size_t eventCount() const { return events.size(); }

  // The session's object in the session log; empties the session's events, handing them to
  // removedEvents when given (so that a log that fails to be written can give them back).
  nlohmann::json getInfoWithFormatter(const TLDateFormatter& formatter,
                                      std::vector<TLSessionEvent>* removedEvents = nullptr);
  // The same object, written straight to out in the session log's layout, event by event.
  void appendInfoWithFormatter(tl::sessions::ChunkedWriter& out, const TLDateFormatter& formatter,
                               std::vector<TLSessionEvent>* removedEvents);

  // The session's entry in the daily report when it was active since the last one; clears the
  // mark either way.
  tl::platform::WispRef copyBasicInfoSinceLastCheckAsWispObject();

  // The 11-element bundle record; nothing without a bundle identifier.
  std::optional<nlohmann::json> recordArray() const;
  void persistBundleRecord() const;

  const std::optional<std::string>& bundleID() const { return _bundleID; }
  const std::optional<std::string>& bundleVers() const { return _bundleVers; }
  const std::optional<std::string>& shortVers() const { return _shortVers; }
  const std::optional<tl::platform::Uuid>& vendorID() const { return _vendorID; }
  void setVendorID(std::optional<tl::platform::Uuid> v) { _vendorID = v; }
  const std::optional<StoreNumber>& adamID() const { return _adamID; }
  void setAdamID(std::optional<StoreNumber> v) { _adamID = std::move(v); }
  const std::optional<std::string>& cohort() const { return _cohort; }
  void setCohort(std::optional<std::string> v) { _cohort = std::move(v); }
  const std::optional<StoreNumber>& storeFront() const { return _storeFront; }
  void setStoreFront(std::optional<StoreNumber> v) { _storeFront = std::move(v); }
  bool isBeta() const { return _isBeta; }
  void setIsBeta(bool v) { _isBeta = v; }
  bool is3rdParty() const { return _is3rdParty; }
  void setIs3rdParty(bool v) { _is3rdParty = v; }

  static void setDebug(bool debug);
  static const NameTable& appStateNames();
  static const NameTable& installTypeNames();
  static const NameTable& archNames();

  AppState appstate;
  std::vector<TLSessionEvent> events;  // oldest first
  bool is_extension = false;
  bool active_since_last_check = false;  // set by every recorded event, cleared by the report

 private:
  uint32_t key_ = 0;
  bool _isBeta = false;
  bool _is3rdParty = false;
  std::optional<std::string> _bundleID;
  std::optional<std::string> _bundleVers;
  std::optional<std::string> _shortVers;
  std::optional<tl::platform::Uuid> _vendorID;
  std::optional<StoreNumber> _adamID;
  std::optional<std::string> _cohort;
  std::optional<StoreNumber> _storeFront;

  void learnExecutable(int32_t pid);
  // The log object's members but "app_events"; logs that the session is being written.
  nlohmann::json infoWithoutEvents() const;
  void giveUpEvents(std::vector<TLSessionEvent>* removedEvents);
};

// The text a log line shows for a string that may be absent.
std::string_view TextOrNull(const std::optional<std::string>& text);
