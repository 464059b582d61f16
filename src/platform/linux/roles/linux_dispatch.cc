// LinuxDispatch: serial queues, global queues, semaphores, loop timers and pressure sources.
#include "platform/linux/roles/linux_dispatch.h"

#include <atomic>
#include <cmath>
#include <deque>

#include "base/mutex.h"

namespace tl::linuxdev {

using platform::Queue;
using platform::Task;

// A serial queue: its tasks run one at a time on the pool. Its state is shared with the pool's
// drain task, so that destroying the queue drops what is still queued without waiting for it.
class LinuxDispatch::Serial : public platform::SerialQueue {
 public:
  Serial(ThreadPool& pool, std::string label)
      : state_(std::make_shared<State>(pool)), label_(std::move(label)) {}
  ~Serial() override {
    MutexLock lock(state_->mutex);
    state_->alive = false;
    state_->tasks.clear();
  }

  void async(Task task) override {
    MutexLock lock(state_->mutex);
    if (!state_->alive) return;
    state_->tasks.push_back(std::move(task));
    if (state_->draining) return;
    state_->draining = true;
    state_->pool.submit([state = state_] { Drain(*state); });
  }
  const std::string& label() const override { return label_; }

 private:
  struct State {
    explicit State(ThreadPool& p) : pool(p) {}
    ThreadPool& pool;
    Mutex mutex;
    std::deque<Task> tasks TL_GUARDED_BY(mutex);
    bool draining TL_GUARDED_BY(mutex) = false;
    bool alive TL_GUARDED_BY(mutex) = true;
  };

  // Runs the queue's tasks until none is left; at most one drain runs per queue at a time.
  static void Drain(State& state) {
    while (true) {
      Task task;
      {
        MutexLock lock(state.mutex);
        if (state.tasks.empty()) {
          state.draining = false;
          return;
        }
        task = std::move(state.tasks.front());
        state.tasks.pop_front();
      }
      task();
    }
  }

  std::shared_ptr<State> state_;
  std::string label_;
};

class LinuxDispatch::Global : public Queue {
 public:
  Global(ThreadPool& pool, std::string label) : pool_(pool), label_(std::move(label)) {}
  void async(Task task) override { pool_.submit(std::move(task)); }
  const std::string& label() const override { return label_; }

 private:
  ThreadPool& pool_;
  std::string label_;
};

namespace {

class CountingSemaphore : public platform::Semaphore {
 public:
  explicit CountingSemaphore(long value) : value_(value) {}
  // Notifies under the lock: the waiter may destroy the semaphore as soon as it wakes, and it
  // cannot wake before the lock is given up.
  void signal() override {
    MutexLock lock(mutex_);
    ++value_;
    available_.notifyOne();
  }
  void wait() override {
    MutexLock lock(mutex_);
    while (value_ <= 0) available_.wait(mutex_);
    --value_;
  }

 private:
  Mutex mutex_;
  CondVar available_;
  long value_ TL_GUARDED_BY(mutex_);
};

uint64_t Microseconds(double seconds) {
  if (!(seconds > 0)) return 0;
  return static_cast<uint64_t>(std::min(seconds, 1e12) * 1e6);
}

// What a timer's loop source and its queued handlers share; live turns false when the timer is
// destroyed, so that a handler already queued does not run after that.
struct TimerState : std::enable_shared_from_this<TimerState> {
  std::atomic<bool> live{true};
  Queue* queue = nullptr;
  Task handler;
  uint64_t interval = 0;
  uint64_t accuracy = 0;
  sd_event_source* source = nullptr;  // loop thread only
};

class LoopTimer : public platform::Timer {
 public:
  LoopTimer(EventLoop& loop, std::shared_ptr<TimerState> state)
      : loop_(loop), state_(std::move(state)) {
    loop_.post([loop = &loop_, state = state_] {
      if (!state->live) return;
      sd_event_add_time_relative(loop->event(), &state->source, CLOCK_BOOTTIME, state->interval,
                                 state->accuracy, &LoopTimer::Fire, state.get());
    });
  }
  ~LoopTimer() override {
    state_->live = false;
    loop_.post([state = state_] {
      if (state->source) sd_event_source_disable_unref(state->source);
      state->source = nullptr;
    });
  }

 private:
  static int Fire(sd_event_source* source, uint64_t, void* data) {
    auto* state = static_cast<TimerState*>(data);
    sd_event_source_set_time_relative(source, state->interval);
    sd_event_source_set_enabled(source, SD_EVENT_ON);
    state->queue->async([state = state->shared_from_this()] {
      if (state->live) state->handler();
    });
    return 0;
  }

  EventLoop& loop_;
  std::shared_ptr<TimerState> state_;
};

}  // namespace

LinuxDispatch::LinuxDispatch(EventLoop& loop, MemoryPressure& pressure)
    : loop_(loop), pressure_(pressure), pool_(kThreads) {
  static constexpr const char* kLabels[] = {"global.background", "global.utility", "global.default",
                                            "global.user-initiated", "global.user-interactive"};
  for (size_t i = 0; i < globals_.size(); ++i) {
    globals_[i] = std::make_unique<Global>(pool_, kLabels[i]);
  }
}

LinuxDispatch::~LinuxDispatch() = default;

std::unique_ptr<platform::SerialQueue> LinuxDispatch::createSerialQueue(
    std::string label, platform::QualityOfService) {
  return std::make_unique<Serial>(pool_, std::move(label));
}

std::unique_ptr<platform::SerialQueue> LinuxDispatch::createSerialQueue(std::string label, Queue&) {
  return std::make_unique<Serial>(pool_, std::move(label));
}

Queue& LinuxDispatch::globalQueue(platform::QualityOfService qos) {
  return *globals_[static_cast<size_t>(qos)];
}

std::unique_ptr<platform::Semaphore> LinuxDispatch::createSemaphore(long value) {
  return std::make_unique<CountingSemaphore>(value);
}

std::unique_ptr<platform::Timer> LinuxDispatch::scheduleRepeatingTimer(Queue& queue,
                                                                       double interval,
                                                                       double leeway,
                                                                       Task handler) {
  auto state = std::make_shared<TimerState>();
  state->queue = &queue;
  state->handler = std::move(handler);
  state->interval = std::max<uint64_t>(Microseconds(interval), 1);
  state->accuracy = Microseconds(leeway);
  return std::make_unique<LoopTimer>(loop_, std::move(state));
}

std::unique_ptr<platform::MemoryPressureSource> LinuxDispatch::createMemoryPressureSource(
    unsigned mask, Queue& target) {
  return pressure_.createSource(mask, target);
}

}  // namespace tl::linuxdev
