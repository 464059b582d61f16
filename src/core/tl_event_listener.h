// TLEventListener: the hub that owns the module's three listeners and the thermal registration.
#pragma once

#include <memory>

#include "platform/dispatch.h"

class TLApplicationStateChangeEventListener;
class TLPowerEventListener;
class EQAggregateLogger;

class TLEventListener {
 public:
  TLEventListener() = default;
  // queue is the host's event queue; the power side runs on it. It must outlive the hub.
  static std::unique_ptr<TLEventListener> initWithQueue(tl::platform::SerialQueue& queue);
  // Releases the application state listener, the power listener, then the aggregate logger.
  // The thermal registration stays: it is process-wide.
  ~TLEventListener();

  // Registers the thermal-level handler, once per process whatever the number of hubs.
  void registerForThermalNotification();

  TLApplicationStateChangeEventListener* appStateChangeEventListener() const {
    return _appStateChangeEventListener.get();
  }
  TLPowerEventListener* powerEventListener() const { return _powerEventListener.get(); }
  EQAggregateLogger* aggregateLogger() const { return _aggregateLogger.get(); }

 private:
  std::unique_ptr<TLApplicationStateChangeEventListener> _appStateChangeEventListener;
  std::unique_ptr<TLPowerEventListener> _powerEventListener;  // empty when it could not start
  std::unique_ptr<EQAggregateLogger> _aggregateLogger;
};
