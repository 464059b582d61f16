// Dispatch: work queues, timers, semaphores and the memory-pressure source.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/registration.h"

namespace tl::platform {

using Task = std::function<void()>;

enum class QualityOfService { kBackground, kUtility, kDefault, kUserInitiated, kUserInteractive };

// A place where tasks run. async() may be called from any queue and returns at once.
class Queue {
 public:
  virtual ~Queue() = default;
  virtual void async(Task task) = 0;
  virtual const std::string& label() const = 0;
};

// A serial queue runs its tasks one at a time, in the order they were queued, and never two of
// them at once; a task may therefore touch the state the queue guards without a lock. Tasks still
// queued when the queue is destroyed are dropped.
class SerialQueue : public Queue {};

// A repeating timer; destroying it cancels it.
class Timer : public Registration {};

class Semaphore {
 public:
  virtual ~Semaphore() = default;
  virtual void signal() = 0;
  // Blocks the calling queue until a signal is available; no time limit.
  virtual void wait() = 0;
};

// Fires on its target queue when the system reports memory pressure of a level in its mask.
// It delivers nothing until resumed; destroying it cancels it.
class MemoryPressureSource : public Registration {
 public:
  virtual void setHandler(Task handler) = 0;
  virtual void resume() = 0;
};

inline constexpr unsigned kMemoryPressureWarning = 2;
inline constexpr unsigned kMemoryPressureCritical = 4;

class Dispatch {
 public:
  virtual ~Dispatch() = default;
  virtual std::unique_ptr<SerialQueue> createSerialQueue(std::string label,
                                                         QualityOfService qos) = 0;
  // A serial queue whose tasks run on target's threads, at target's priority.
  virtual std::unique_ptr<SerialQueue> createSerialQueue(std::string label, Queue& target) = 0;
  // The process-wide concurrent queue of a priority; it lives as long as the process.
  virtual Queue& globalQueue(QualityOfService qos) = 0;
  virtual std::unique_ptr<Semaphore> createSemaphore(long value) = 0;
  // Runs handler on queue every interval seconds, first after one interval. leeway says how
  // late it may fire, so that a battery-powered device can coalesce wake-ups. The queue must
  // outlive the timer.
  virtual std::unique_ptr<Timer> scheduleRepeatingTimer(Queue& queue, double interval,
                                                        double leeway, Task handler) = 0;
  // nullptr when the system cannot create the source.
  virtual std::unique_ptr<MemoryPressureSource> createMemoryPressureSource(unsigned mask,
                                                                           Queue& target) = 0;
};

}  // namespace tl::platform
