// TLApplicationStateChangeEventListener: follows application run states and install notices.
#pragma once

#include <memory>

#include "platform/dispatch.h"

// Until the session subsystem lands, the listener only holds its own serial queue, on which all
// session bookkeeping will run.
class TLApplicationStateChangeEventListener {
 public:
  TLApplicationStateChangeEventListener();
  ~TLApplicationStateChangeEventListener();

  tl::platform::SerialQueue& sessionQueue() { return *_session_queue; }

 private:
  std::unique_ptr<tl::platform::SerialQueue> _session_queue;
};
