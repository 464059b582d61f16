// TLPowerEventListener: turns the device's power events into the module's power notifications.
#pragma once

#include <memory>

#include "platform/dispatch.h"

// Until the power subsystem lands, the listener only holds its logging queue; it runs on the
// host's event queue, which it borrows.
class TLPowerEventListener {
 public:
  // Empty when the listener cannot start; the hub then carries on without it.
  static std::unique_ptr<TLPowerEventListener> initWithQueue(tl::platform::SerialQueue& queue);
  explicit TLPowerEventListener(tl::platform::SerialQueue& hostQueue);
  ~TLPowerEventListener();

  tl::platform::SerialQueue& loggingQueue() { return *_loggingQueue; }

 private:
  tl::platform::SerialQueue& hostQueue_;
  std::unique_ptr<tl::platform::SerialQueue> _loggingQueue;
};
