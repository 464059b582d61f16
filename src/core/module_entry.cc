// TLEventModuleInitializer: the module's entry, run once per process.
#include "core/core_state.h"
#include "core/tallyline_module.h"
#include "core/tl_event_listener.h"
#include "platform/module_handle.h"

extern "C" void TLEventModuleInitializer(void* module) {
  auto& hub = tl::core::Core().hub;
  // A plain check, not a lock: the host calls the entry once, from one thread.
  if (hub) return;
  auto& handle = *static_cast<tl::platform::ModuleHandle*>(module);
  hub = TLEventListener::initWithQueue(handle.eventQueue());
}
