// MemoryPressure: the system's memory pressure, from a PSI trigger or low-memory-monitor.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/mutex.h"
#include "platform/dispatch.h"
#include "platform/linux/loop/bus.h"
#include "platform/linux/loop/event_loop.h"

namespace tl::linuxdev {

// The level low-memory-monitor's LowMemoryWarning signal carries (50 low, 100 medium, 255
// critical) as the dispatch's pressure level: critical at 255, a warning below it, 0 for none.
unsigned PressureLevelFromLowMemoryWarning(uint8_t level);

// A PSI trigger on the memory pressure file ("some" stall of 200 ms in any 2 s window, which an
// unprivileged process may set) is a warning. Where the kernel refuses the trigger,
// low-memory-monitor's signal on the system bus stands in for it.
class MemoryPressure {
 public:
  MemoryPressure(EventLoop& loop, sd_bus* systemBus, std::string pressureFile)
      : loop_(loop), bus_(systemBus), pressureFile_(std::move(pressureFile)) {}
  ~MemoryPressure();

  // Before the loop runs. Which source it uses, "" when neither.
  std::string start();

  std::unique_ptr<platform::MemoryPressureSource> createSource(unsigned mask,
                                                               platform::Queue& target);

  // Delivers a level to every resumed source whose mask has it (loop thread).
  void fire(unsigned level);

 private:
  struct Subscriber;
  class Source;
  static int OnPsi(sd_event_source* source, int fd, uint32_t revents, void* self);
  static int OnLowMemoryWarning(sd_bus_message* message, void* self, sd_bus_error* error);

  EventLoop& loop_;
  sd_bus* bus_;
  std::string pressureFile_;
  int psiFd_ = -1;
  sd_event_source* psi_ = nullptr;
  SlotPtr match_;
  Mutex mutex_;
  std::vector<std::shared_ptr<Subscriber>> subscribers_ TL_GUARDED_BY(mutex_);
};

}  // namespace tl::linuxdev
