// TLEventListener: listener start-up order and the thermal-level samples.
#include "core/tl_event_listener.h"

#include "aggregate/eq_aggregate_logger.h"
#include "core/core_state.h"
#include "platform/platform.h"
#include "platform/statistics_keys.h"
#include "power/tl_power_event_listener.h"
#include "sessions/tl_application_state_change_event_listener.h"

std::unique_ptr<TLEventListener> TLEventListener::initWithQueue(tl::platform::SerialQueue& queue) {
  auto hub = std::make_unique<TLEventListener>();
  // A later listener may rely on an earlier one existing: the order is fixed.
  hub->_appStateChangeEventListener = std::make_unique<TLApplicationStateChangeEventListener>();
  hub->_powerEventListener = TLPowerEventListener::initWithQueue(queue);
  hub->_aggregateLogger = std::make_unique<EQAggregateLogger>();
  hub->registerForThermalNotification();
  return hub;
}

TLEventListener::~TLEventListener() {
  _appStateChangeEventListener.reset();
  _powerEventListener.reset();
  _aggregateLogger.reset();
}

void TLEventListener::registerForThermalNotification() {
  tl::core::CoreState& core = tl::core::Core();
  std::call_once(core.thermalOnce, [&core] {
    auto& platform = tl::platform::Current();
    // The handler touches no module state, so it may run on a concurrent queue. Its result is
    // ignored: without the registration the module simply has no thermal samples.
    std::unique_ptr<tl::platform::NotifyRegistration> registration;
    platform.namedNotifications()
        .registerDispatch(
            tl::platform::kThermalLevelNotification,
            platform.dispatch().globalQueue(tl::platform::QualityOfService::kDefault),
            [](int32_t) {
              // Every notification is one sample, also when the level did not change.
              int64_t level = tl::platform::Current().namedNotifications().thermalLevel();
              TLClientPushValueForDistributionKey(tl::platform::kThermalLevelsKey,
                                                  static_cast<double>(level));
            },
            &registration)
        .IgnoreError();
    if (!registration) return;
    core.thermalToken = registration->token();
    tl::core::KeepForProcess(std::move(registration));
  });
}
