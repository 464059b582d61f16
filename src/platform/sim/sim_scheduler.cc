// SimScheduler: virtual time and the deterministic run order.
#include "platform/sim/sim_scheduler.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "base/saturated_cast.h"

namespace tl::sim {

namespace {

const char* QosName(QualityOfService qos) {
  switch (qos) {
    case QualityOfService::kBackground:
      return "background";
    case QualityOfService::kUtility:
      return "utility";
    case QualityOfService::kDefault:
      return "default";
    case QualityOfService::kUserInitiated:
      return "user-initiated";
    case QualityOfService::kUserInteractive:
      return "user-interactive";
  }
  return "?";
}

int64_t ToNanoseconds(double seconds) { return SaturatedRound<int64_t>(seconds * 1e9); }

// A period after at, stopping at the end of time: a timer too far away never fires.
int64_t Later(int64_t at, int64_t period) {
  return at > std::numeric_limits<int64_t>::max() - period ? std::numeric_limits<int64_t>::max()
                                                           : at + period;
}

}  // namespace

class SimScheduler::SimTimer : public platform::Timer {
 public:
  SimTimer(SimScheduler& scheduler, std::shared_ptr<Task> handler)
      : scheduler_(scheduler), handler_(std::move(handler)) {}
  ~SimTimer() override {
    std::erase_if(scheduler_.timers_, [&](const auto& t) { return t.second.handler == handler_; });
  }

 private:
  SimScheduler& scheduler_;
  std::shared_ptr<Task> handler_;
};

class SimScheduler::SimSemaphore : public platform::Semaphore {
 public:
  SimSemaphore(SimScheduler& scheduler, long value) : scheduler_(scheduler), value_(value) {}

  void signal() override {
    if (++value_ <= 0) ++wakeups_;
  }

  void wait() override {
    if (--value_ >= 0) return;
    // One thread runs every queue: waiting means running other queues' tasks until one of them
    // signals. Nothing left to run while still waiting would block the real device forever.
    while (wakeups_ == 0) {
      if (!scheduler_.runOne()) {
        std::fputs("simulated device: a semaphore waits with nothing left to run\n", stderr);
        std::abort();
      }
    }
    --wakeups_;
  }

 private:
  SimScheduler& scheduler_;
  long value_;
  long wakeups_ = 0;
};

class SimScheduler::SimPressureSource : public platform::MemoryPressureSource {
 public:
  SimPressureSource(SimScheduler& scheduler, unsigned mask, platform::Queue& target)
      : scheduler_(scheduler), mask_(mask), target_(target) {
    scheduler_.pressureSources_.push_back(this);
  }
  ~SimPressureSource() override { std::erase(scheduler_.pressureSources_, this); }

  void setHandler(Task handler) override { handler_ = std::move(handler); }
  void resume() override { resumed_ = true; }

  void fire(unsigned level) {
    if (resumed_ && (mask_ & level) && handler_) target_.async(handler_);
  }

 private:
  SimScheduler& scheduler_;
  unsigned mask_;
  platform::Queue& target_;
  Task handler_;
  bool resumed_ = false;
};

SimScheduler::SimScheduler(double startSeconds) : start_(startSeconds) {}

SimScheduler::~SimScheduler() {
  // Global queues go first so that their destructors find the scheduler whole.
  globals_.clear();
}

double SimScheduler::now() { return start_ + elapsedSeconds(); }

uint64_t SimScheduler::absoluteTicks() {
  // ticks = nanoseconds * denom / numer, without overflow for any realistic trace.
  unsigned __int128 ns = static_cast<unsigned __int128>(elapsed_);
  return static_cast<uint64_t>(ns * timebase_.denom / std::max<uint32_t>(timebase_.numer, 1));
}

std::unique_ptr<platform::SerialQueue> SimScheduler::createSerialQueue(std::string label,
                                                                       QualityOfService qos) {
  created_.push_back(label + " (" + QosName(qos) + ")");
  return std::make_unique<SimQueue>(*this, std::move(label), true);
}

std::unique_ptr<platform::SerialQueue> SimScheduler::createSerialQueue(std::string label,
                                                                       platform::Queue& target) {
  created_.push_back(label + " -> " + target.label());
  return std::make_unique<SimQueue>(*this, std::move(label), true);
}

platform::Queue& SimScheduler::globalQueue(QualityOfService qos) {
  auto& queue = globals_[qos];
  if (!queue) {
    queue = std::make_unique<SimQueue>(*this, std::string("global.") + QosName(qos), false);
  }
  return *queue;
}

std::unique_ptr<platform::Semaphore> SimScheduler::createSemaphore(long value) {
  return std::make_unique<SimSemaphore>(*this, value);
}

std::unique_ptr<platform::Timer> SimScheduler::scheduleRepeatingTimer(platform::Queue& queue,
                                                                      double interval,
                                                                      double leeway, Task handler) {
  // The simulated device fires timers exactly on time; leeway only matters to real hardware.
  int64_t period = std::max<int64_t>(ToNanoseconds(interval), 1);
  auto shared = std::make_shared<Task>(std::move(handler));
  timers_.emplace(std::pair(Later(elapsed_, period), timerSequence_++),
                  TimerEntry{&queue, period, shared});
  return std::make_unique<SimTimer>(*this, shared);
}

std::unique_ptr<platform::MemoryPressureSource> SimScheduler::createMemoryPressureSource(
    unsigned mask, platform::Queue& target) {
  return std::make_unique<SimPressureSource>(*this, mask, target);
}

void SimScheduler::enqueue(SimQueue* queue, Task task) {
  pending_.push_back({queue, std::move(task)});
}

void SimScheduler::forgetQueue(SimQueue* queue) {
  std::erase_if(pending_, [&](const Pending& p) { return p.queue == queue; });
  std::erase(busy_, queue);
}

bool SimScheduler::runOne() {
  auto isBusy = [&](const SimQueue* q) {
    return std::find(busy_.begin(), busy_.end(), q) != busy_.end();
  };
  auto it = std::find_if(pending_.begin(), pending_.end(),
                         [&](const Pending& p) { return !isBusy(p.queue); });
  if (it == pending_.end()) return false;
  Pending next = std::move(*it);
  pending_.erase(it);
  const bool serial = next.queue->serial();
  if (serial) busy_.push_back(next.queue);
  next.task();
  // Found by identity: the task may have destroyed its own queue, which forgetQueue noted.
  if (serial) {
    auto mine = std::find(busy_.rbegin(), busy_.rend(), next.queue);
    if (mine != busy_.rend()) busy_.erase(std::next(mine).base());
  }
  return true;
}

void SimScheduler::runUntilIdle() {
  while (runOne()) {
  }
}

void SimScheduler::advanceTo(int64_t target) {
  runUntilIdle();
  while (!timers_.empty() && timers_.begin()->first.first <= target) {
    auto node = timers_.extract(timers_.begin());
    TimerEntry entry = std::move(node.mapped());
    elapsed_ = std::max(elapsed_, node.key().first);
    // Re-arm before firing so that the handler may cancel its own timer.
    timers_.emplace(std::pair(Later(node.key().first, entry.interval), timerSequence_++), entry);
    std::shared_ptr<Task> handler = entry.handler;
    entry.queue->async([handler] { (*handler)(); });
    runUntilIdle();
  }
  elapsed_ = std::max(elapsed_, target);
}

void SimScheduler::memoryPressure(unsigned level) {
  for (SimPressureSource* source : pressureSources_) source->fire(level);
  runUntilIdle();
}

}  // namespace tl::sim
