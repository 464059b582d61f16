// TLEventModuleInitializer: the module's entry, run once per process.
#include "core/no_destructor.h"
#include "core/tallyline_module.h"
#include "core/tl_event_listener.h"
#include "platform/module_handle.h"

namespace {
// The hub, held until the process ends; empty until the entry has run, which makes it the
// entry's run-once guard too.
std::unique_ptr<TLEventListener>& Hub() {
  static tl::NoDestructor<std::unique_ptr<TLEventListener>> hub;
  return *hub;
}
}  // namespace

extern "C" void TLEventModuleInitializer(void* module) {
  // A plain check, not a lock: the host calls the entry once, from one thread.
  if (Hub()) return;
  auto& handle = *static_cast<tl::platform::ModuleHandle*>(module);
  Hub() = TLEventListener::initWithQueue(handle.eventQueue());
}
