// LinuxDispatch: the dispatch role on the Linux device: queues on a thread pool, timers on the
// loop thread, semaphores and the memory-pressure source.
#pragma once

#include <array>
#include <memory>

#include "platform/dispatch.h"
#include "platform/linux/loop/event_loop.h"
#include "platform/linux/loop/thread_pool.h"
#include "platform/linux/roles/memory_pressure.h"

namespace tl::linuxdev {

// Every queue runs on one small pool: a serial queue hands its tasks to the pool one at a time, a
// global queue hands each task over as it comes. Qualities of service are not mapped to thread
// priorities; the module's work is small and the pool is shared.
class LinuxDispatch : public platform::Dispatch {
 public:
  static constexpr int kThreads = 4;

  LinuxDispatch(EventLoop& loop, MemoryPressure& pressure);
  ~LinuxDispatch() override;

  std::unique_ptr<platform::SerialQueue> createSerialQueue(std::string label,
                                                           platform::QualityOfService qos) override;
  std::unique_ptr<platform::SerialQueue> createSerialQueue(std::string label,
                                                           platform::Queue& target) override;
  platform::Queue& globalQueue(platform::QualityOfService qos) override;
  std::unique_ptr<platform::Semaphore> createSemaphore(long value) override;
  // On the boot-time clock, so that a day counts the time the device slept; leeway becomes the
  // timer's accuracy, which lets the loop fire it together with other wake-ups.
  std::unique_ptr<platform::Timer> scheduleRepeatingTimer(platform::Queue& queue, double interval,
                                                          double leeway,
                                                          platform::Task handler) override;
  std::unique_ptr<platform::MemoryPressureSource> createMemoryPressureSource(
      unsigned mask, platform::Queue& target) override;

  ThreadPool& pool() { return pool_; }

 private:
  class Serial;
  class Global;

  EventLoop& loop_;
  MemoryPressure& pressure_;
  ThreadPool pool_;
  std::array<std::unique_ptr<Global>, 5> globals_;
};

}  // namespace tl::linuxdev
