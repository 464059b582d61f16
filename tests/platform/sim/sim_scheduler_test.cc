// The simulated device's run order: queues, timers, semaphores and memory pressure.
#include "platform/sim/sim_scheduler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::ElementsAre;
using tl::platform::QualityOfService;
using tl::sim::SimScheduler;

TEST(SimScheduler, RunsTasksOldestFirstAcrossQueuesAndLaterTasksAfter) {
  SimScheduler scheduler(0);
  auto a = scheduler.createSerialQueue("a", QualityOfService::kUtility);
  auto& global = scheduler.globalQueue(QualityOfService::kDefault);
  auto b = scheduler.createSerialQueue("b", global);
  std::vector<std::string> order;
  a->async([&] {
    order.push_back("a1");
    b->async([&] { order.push_back("b2 (queued by a1)"); });
  });
  b->async([&] { order.push_back("b1"); });
  global.async([&] { order.push_back("g1"); });
  a->async([&] { order.push_back("a2"); });
  scheduler.runUntilIdle();
  EXPECT_THAT(order, ElementsAre("a1", "b1", "g1", "a2", "b2 (queued by a1)"));
  EXPECT_THAT(scheduler.createdQueues(), ElementsAre("a (utility)", "b -> global.default"));

  // A destroyed queue's pending tasks are dropped.
  order.clear();
  b->async([&] { order.push_back("never"); });
  b.reset();
  scheduler.runUntilIdle();
  EXPECT_TRUE(order.empty());
}

TEST(SimScheduler, TimersFireAtTheirDueTimesInOrder) {
  SimScheduler scheduler(1000.0);
  auto q = scheduler.createSerialQueue("q", QualityOfService::kDefault);
  std::vector<std::pair<std::string, double>> fired;
  auto daily = scheduler.scheduleRepeatingTimer(
      *q, 86400, 60, [&] { fired.emplace_back("daily", scheduler.elapsedSeconds()); });
  auto sameDay = scheduler.scheduleRepeatingTimer(
      *q, 86400, 60, [&] { fired.emplace_back("same", scheduler.elapsedSeconds()); });
  auto hourly = scheduler.scheduleRepeatingTimer(*q, 3600, 0, [&] {
    // Work a timer queues runs before the next timer fires.
    q->async([&] { fired.emplace_back("after-hourly", scheduler.elapsedSeconds()); });
  });

  scheduler.advanceTo(int64_t{2} * 3600 * 1'000'000'000);
  EXPECT_EQ(scheduler.now(), 1000.0 + 7200.0);
  ASSERT_EQ(fired.size(), 2u);
  EXPECT_EQ(fired[0], std::make_pair(std::string("after-hourly"), 3600.0));
  EXPECT_EQ(fired[1], std::make_pair(std::string("after-hourly"), 7200.0));

  hourly.reset();
  fired.clear();
  scheduler.advanceTo(int64_t{2} * 86400 * 1'000'000'000);
  // Equal due times fire in the order the timers were set up.
  EXPECT_THAT(fired, ElementsAre(std::make_pair(std::string("daily"), 86400.0),
                                 std::make_pair(std::string("same"), 86400.0),
                                 std::make_pair(std::string("daily"), 172800.0),
                                 std::make_pair(std::string("same"), 172800.0)));
}

TEST(SimScheduler, SemaphoreWaitRunsOtherQueuesButNotItsOwn) {
  SimScheduler scheduler(0);
  auto waiting = scheduler.createSerialQueue("waiting", QualityOfService::kDefault);
  auto answering = scheduler.createSerialQueue("answering", QualityOfService::kDefault);
  auto semaphore = scheduler.createSemaphore(0);
  std::vector<std::string> order;
  waiting->async([&] {
    answering->async([&] {
      order.push_back("answer");
      semaphore->signal();
    });
    semaphore->wait();
    order.push_back("woken");
  });
  waiting->async([&] { order.push_back("next on waiting queue"); });
  scheduler.runUntilIdle();
  EXPECT_THAT(order, ElementsAre("answer", "woken", "next on waiting queue"));

  // A signal given before the wait is kept.
  semaphore->signal();
  semaphore->wait();
}

TEST(SimScheduler, MemoryPressureReachesResumedSourcesOfThatLevel) {
  SimScheduler scheduler(0);
  auto q = scheduler.createSerialQueue("q", QualityOfService::kDefault);
  int warnings = 0;
  int criticals = 0;
  auto warning = scheduler.createMemoryPressureSource(tl::platform::kMemoryPressureWarning, *q);
  warning->setHandler([&] { ++warnings; });
  auto critical = scheduler.createMemoryPressureSource(tl::platform::kMemoryPressureCritical, *q);
  critical->setHandler([&] { ++criticals; });

  scheduler.memoryPressure(tl::platform::kMemoryPressureWarning);
  EXPECT_EQ(warnings, 0);  // not resumed yet
  warning->resume();
  critical->resume();
  scheduler.memoryPressure(tl::platform::kMemoryPressureWarning);
  EXPECT_EQ(warnings, 1);
  EXPECT_EQ(criticals, 0);
}

}  // namespace
