// TLApplicationStateChangeEventListener: follows application run states and install notices as
// bundle sessions, and writes the session log on schedule, on memory pressure, on request and
// at start for the previous period.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/applications.h"
#include "platform/dispatch.h"
#include "platform/ipc.h"
#include "sessions/tl_bundle_session.h"

class TLDateFormatter;

// Session maps and sessions are touched only on the listener's own serial queue; platform
// callbacks hand their work to it.
class TLApplicationStateChangeEventListener : public tl::platform::WorkspaceObserver {
 public:
  using SessionRef = std::shared_ptr<TLBundleSession>;
  using SessionList = std::vector<SessionRef>;

  TLApplicationStateChangeEventListener();            // init
  ~TLApplicationStateChangeEventListener() override;  // dealloc

  // Reads the previous period's record files back and writes their session log.
  void writePreviousSessionLog();
  // Hands an install notice of a third-party proxy to the session queue.
  void addProxy(const tl::platform::ProxyRef& proxy, uint32_t event, uint32_t at);

  // The workspace's install notices.
  void networkUsageChanged(bool inUse) override;
  void applicationsDidInstall(const std::vector<tl::platform::ProxyRef>& proxies) override;
  void applicationsDidUninstall(const std::vector<tl::platform::ProxyRef>& proxies) override;
  void applicationInstallsDidStart(const std::vector<tl::platform::ProxyRef>& proxies) override;
  void applicationsDidFailToInstall(const std::vector<tl::platform::ProxyRef>& proxies) override;
  void applicationInstallsDidCancel(const std::vector<tl::platform::ProxyRef>& proxies) override;

  // The run-state monitor's report, on the monitor's delivery queue.
  void applicationStateChanged(const tl::platform::Dictionary& stateInfo);

  // The session log of the sessions in memory.
  void writeSessionLog();
  // The session log of bundles (lists of sessions), or of the two maps when bundles is null;
  // given bundles are the previous period's and truncate both record files afterwards.
  void writeSessionLogUsingBundles(const std::vector<SessionList>* bundles);

  // The daily report of activated applications, then the pruning of sessions without events.
  void gatherActivatedInfo();

  tl::platform::SerialQueue& sessionQueue() { return *_session_queue; }
  const std::string& osVersion() const { return _OSVersion; }
  const std::string& model() const { return _Model; }
  const std::map<std::string, SessionRef>& activeBundles() const { return _activeBundles; }
  const std::map<std::string, SessionRef>& versedBundles() const { return _versedBundles; }

 private:
  void updateTask(const std::string& bundle, uint32_t state, double at, int32_t pid,
                  bool extension);
  void installTask(const tl::platform::ProxyRef& proxy, uint32_t event, uint32_t at);
  // An install notice: each proxy's code, its debug line, then addProxy.
  template <class Code, class DebugLine>
  void addProxies(const std::vector<tl::platform::ProxyRef>& proxies, Code code,
                  DebugLine debugLine);
  // Registers handler for a named notification on the session queue, for the life of the process.
  void registerForNotification(const char* name, std::function<void()> handler);
  // Logs both maps with their sessions.
  void dumpSessionData() const;
  void writeSessionData(const std::vector<SessionList>& bundles, bool fromRecords, bool filter,
                        size_t count);

  std::unique_ptr<tl::platform::SerialQueue> _session_queue;
  std::string _OSVersion;
  std::string _Model;
  std::map<std::string, SessionRef> _activeBundles;  // bundle identifier -> current session
  std::map<std::string, SessionRef> _versedBundles;  // version key -> superseded session
  bool _debugSession = false;
  std::unique_ptr<tl::platform::MemoryPressureSource> mem_alerts;
  std::unique_ptr<tl::platform::WispConnection> _connection;  // declared; the report opens its own
  std::unique_ptr<tl::platform::ApplicationStateMonitor> _appStateMonitor;
  std::unique_ptr<tl::platform::Registration> workspaceObservation_;  // removed in dealloc
};
