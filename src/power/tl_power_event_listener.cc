// TLPowerEventListener: start-up of the power side.
#include "power/tl_power_event_listener.h"

#include "platform/platform.h"

std::unique_ptr<TLPowerEventListener> TLPowerEventListener::initWithQueue(
    tl::platform::SerialQueue& queue) {
  return std::make_unique<TLPowerEventListener>(queue);
}

TLPowerEventListener::TLPowerEventListener(tl::platform::SerialQueue& hostQueue)
    : hostQueue_(hostQueue) {
  auto& dispatch = tl::platform::Current().dispatch();
  _loggingQueue = dispatch.createSerialQueue(
      "WattloggingBGQueue", dispatch.globalQueue(tl::platform::QualityOfService::kBackground));
}

TLPowerEventListener::~TLPowerEventListener() = default;
