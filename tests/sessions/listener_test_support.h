// A started application state listener on a simulated device, for the listener's tests.
#pragma once

#include <memory>

#include "sessions/session_test_support.h"
#include "sessions/tl_application_state_change_event_listener.h"

namespace tl::testing {

class ListenerTest {
 public:
  explicit ListenerTest(const Json& device) : device_(device) {
    listener_ = std::make_unique<TLApplicationStateChangeEventListener>();
    device_->runUntilIdle();
    device_->recorded().clear();  // start-up's own lines
  }
  ~ListenerTest() { device_->runUntilIdle(); }

  TestDevice& device() { return *device_; }
  TLApplicationStateChangeEventListener& listener() { return *listener_; }

  // Moves to seconds since the start, then lets the device deliver what it has.
  void at(double seconds) { device_->advanceTo(static_cast<int64_t>(seconds * 1e9 + 0.5)); }
  void state(const std::string& bundle, int64_t pid, int64_t state) {
    device_->simApplications().reportState({{"bundle", bundle}, {"pid", pid}, {"state", state}});
    device_->runUntilIdle();
  }
  void notice(sim::SimApplications::Notice notice, const std::string& bundle) {
    device_->simApplications().workspaceNotice(notice, {bundle});
    device_->runUntilIdle();
  }
  void post(const std::string& name) {
    device_->postNamedNotification(name, std::nullopt);
    device_->runUntilIdle();
  }
  std::string logFile(const std::string& name) {
    return DeviceFile(*device_, "/var/mobile/Library/Logs/Faultkeeper/" + name);
  }

 private:
  CurrentDevice device_;
  std::unique_ptr<TLApplicationStateChangeEventListener> listener_;
};

}  // namespace tl::testing
