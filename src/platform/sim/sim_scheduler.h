// SimScheduler: the simulated device's virtual clock, queues, timers, semaphores and
// memory-pressure sources, all driven from one thread.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/dispatch.h"

namespace tl::sim {

using platform::QualityOfService;
using platform::Task;

class SimQueue;

// Time moves only when told. After every step the driver calls runUntilIdle(), which runs pending
// tasks oldest-first across all queues until none is left; advanceTo() fires each due timer at its
// own due time, in time order (ties in the order they were scheduled), running the queues empty
// after each.
class SimScheduler : public platform::Dispatch, public platform::Clock {
 public:
  explicit SimScheduler(double startSeconds);
  ~SimScheduler() override;

  // Clock.
  double now() override;
  uint64_t absoluteTicks() override;
  platform::Timebase timebase() override { return timebase_; }
  void setTimebase(platform::Timebase timebase) { timebase_ = timebase; }
  void setStart(double startSeconds) { start_ = startSeconds; }

  // Virtual nanoseconds since the trace's start.
  int64_t elapsedNanoseconds() const { return elapsed_; }
  double elapsedSeconds() const { return static_cast<double>(elapsed_) / 1e9; }

  // Dispatch.
  std::unique_ptr<platform::SerialQueue> createSerialQueue(std::string label,
                                                           QualityOfService qos) override;
  std::unique_ptr<platform::SerialQueue> createSerialQueue(std::string label,
                                                           platform::Queue& target) override;
  platform::Queue& globalQueue(QualityOfService qos) override;
  std::unique_ptr<platform::Semaphore> createSemaphore(long value) override;
  // The queue must outlive the timer.
  std::unique_ptr<platform::Timer> scheduleRepeatingTimer(platform::Queue& queue, double interval,
                                                          double leeway, Task handler) override;
  std::unique_ptr<platform::MemoryPressureSource> createMemoryPressureSource(
      unsigned mask, platform::Queue& target) override;

  // Driving.
  void runUntilIdle();
  // Moves time forward to elapsedNanoseconds, firing due timers on the way. Never goes back.
  void advanceTo(int64_t elapsedNanoseconds);
  // Fires every resumed memory-pressure source whose mask has level.
  void memoryPressure(unsigned level);

  // What the module created, for tests: "label (qos)" or "label -> target".
  const std::vector<std::string>& createdQueues() const { return created_; }

  // Used by queues and the objects above.
  void enqueue(SimQueue* queue, Task task);
  void forgetQueue(SimQueue* queue);
  // Runs one runnable task; false when none is left.
  bool runOne();

 private:
  struct Pending {
    SimQueue* queue;
    Task task;
  };
  struct TimerEntry {
    platform::Queue* queue;
    int64_t interval;
    std::shared_ptr<Task> handler;
  };
  class SimTimer;
  class SimSemaphore;
  class SimPressureSource;

  double start_;
  int64_t elapsed_ = 0;
  platform::Timebase timebase_;
  std::deque<Pending> pending_;
  // Keyed by (due time, sequence) so that equal times fire in scheduling order.
  std::map<std::pair<int64_t, uint64_t>, TimerEntry> timers_;
  uint64_t timerSequence_ = 0;
  std::map<QualityOfService, std::unique_ptr<SimQueue>> globals_;
  std::vector<SimPressureSource*> pressureSources_;
  // Serial queues with a task under way, innermost last (a semaphore wait nests tasks).
  std::vector<SimQueue*> busy_;
  std::vector<std::string> created_;
};

// A queue of the simulated device. Serial queues run one task at a time: while one of their tasks
// runs (for instance blocked in a semaphore wait), their other tasks wait.
class SimQueue : public platform::SerialQueue {
 public:
  SimQueue(SimScheduler& scheduler, std::string label, bool serial)
      : scheduler_(scheduler), label_(std::move(label)), serial_(serial) {}
  ~SimQueue() override { scheduler_.forgetQueue(this); }

  void async(Task task) override { scheduler_.enqueue(this, std::move(task)); }
  const std::string& label() const override { return label_; }

  bool serial() const { return serial_; }

 private:
  SimScheduler& scheduler_;
  std::string label_;
  bool serial_;
};

}  // namespace tl::sim
