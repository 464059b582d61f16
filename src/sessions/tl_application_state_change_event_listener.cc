// TLApplicationStateChangeEventListener: start-up of the session side.
#include "sessions/tl_application_state_change_event_listener.h"

#include "platform/platform.h"

TLApplicationStateChangeEventListener::TLApplicationStateChangeEventListener()
    : _session_queue(tl::platform::Current().dispatch().createSerialQueue(
          "com.veltro.TLSessionSync", tl::platform::QualityOfService::kUtility)) {}

TLApplicationStateChangeEventListener::~TLApplicationStateChangeEventListener() = default;
