// The Linux device's queues, timers, semaphores, named notifications and pressure sources, with
// real threads (the ThreadSanitizer build runs these).
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "platform/linux/roles/linux_dispatch.h"
#include "platform/linux/roles/linux_named_notifications.h"

namespace tl::linuxdev {
namespace {

using namespace std::chrono_literals;
using platform::QualityOfService;

// Waits (briefly) for a condition that other threads make true.
template <class F>
bool Eventually(F condition) {
  for (int i = 0; i < 2000 && !condition(); ++i) std::this_thread::sleep_for(1ms);
  return condition();
}

std::unique_ptr<EventLoop> MakeLoop() {
  std::unique_ptr<EventLoop> loop;
  EXPECT_TRUE(EventLoop::Create(&loop).ok());
  return loop;
}

struct Fixture {
  std::unique_ptr<EventLoop> ownLoop = MakeLoop();
  EventLoop& loop = *ownLoop;
  MemoryPressure pressure{loop, nullptr, "/nonexistent/pressure"};
  LinuxDispatch dispatch{loop, pressure};
  Fixture() { loop.start(); }
};

TEST(LinuxDispatchTest, SerialQueueRunsInOrderOneAtATimeFromManyThreads) {
  Fixture f;
  auto queue = f.dispatch.createSerialQueue("q", QualityOfService::kUtility);
  std::vector<int> seen;  // touched only by the queue's tasks
  std::atomic<int> inFlight{0};
  std::atomic<bool> overlapped{false};
  auto producer = [&](int base) {
    for (int i = 0; i < 500; ++i) {
      queue->async([&, n = base + i] {
        if (inFlight.fetch_add(1) != 0) overlapped = true;
        seen.push_back(n);
        inFlight.fetch_sub(1);
      });
    }
  };
  std::thread a(producer, 0), b(producer, 1000);
  a.join();
  b.join();
  std::atomic<bool> done{false};
  queue->async([&] { done = true; });
  ASSERT_TRUE(Eventually([&] { return done.load(); }));
  EXPECT_FALSE(overlapped);
  ASSERT_EQ(seen.size(), 1000u);
  // Each producer's tasks keep their order.
  int lastA = -1, lastB = 999;
  for (int n : seen) {
    int& last = n < 1000 ? lastA : lastB;
    EXPECT_EQ(n, last + 1);
    last = n;
  }
}

TEST(LinuxDispatchTest, TimersFireOnTheirQueueUntilDestroyedAndSemaphoresHandOver) {
  Fixture f;
  auto queue = f.dispatch.createSerialQueue("timers", QualityOfService::kDefault);
  std::atomic<int> fired{0};
  auto timer = f.dispatch.scheduleRepeatingTimer(*queue, 0.005, 0, [&] { ++fired; });
  ASSERT_TRUE(Eventually([&] { return fired >= 3; }));
  timer.reset();
  std::atomic<bool> drained{false};
  queue->async([&] { drained = true; });
  ASSERT_TRUE(Eventually([&] { return drained.load(); }));
  const int after = fired;
  std::this_thread::sleep_for(30ms);
  EXPECT_EQ(fired, after);

  // A task waits on one queue for an answer from another, as the module's web-app lookup does.
  auto semaphore = f.dispatch.createSemaphore(0);
  std::atomic<int> answer{0};
  std::atomic<bool> got{false};
  queue->async([&] {
    f.dispatch.globalQueue(QualityOfService::kBackground).async([&] {
      answer = 42;
      semaphore->signal();
    });
    semaphore->wait();
    got = answer == 42;
  });
  EXPECT_TRUE(Eventually([&] { return got.load(); }));
}

TEST(LinuxDispatchTest, NamedNotificationsDeliverStatesAndStopAtCancel) {
  Fixture f;
  auto queue = f.dispatch.createSerialQueue("notify", QualityOfService::kDefault);
  LinuxNamedNotifications named;
  std::atomic<int> deliveries{0};
  std::atomic<uint64_t> lastState{0};
  std::unique_ptr<platform::NotifyRegistration> registration;
  ASSERT_TRUE(named
                  .registerDispatch(
                      "com.veltro.session.write", *queue,
                      [&](int32_t token) {
                        uint64_t state = 0;
                        if (named.getState(token, &state).ok()) lastState = state;
                        ++deliveries;
                      },
                      &registration)
                  .ok());
  named.post("com.veltro.session.write", 7);
  named.post("com.veltro.other", 9);
  ASSERT_TRUE(Eventually([&] { return deliveries == 1; }));
  EXPECT_EQ(lastState, 7u);

  std::unique_ptr<platform::NotifyRegistration> check;
  ASSERT_TRUE(named.registerCheck("com.veltro.other", &check).ok());
  uint64_t state = 0;
  ASSERT_TRUE(named.getState(check->token(), &state).ok());
  EXPECT_EQ(state, 9u);
  const int32_t stale = check->token();
  check.reset();
  EXPECT_FALSE(named.getState(stale, &state).ok());
  EXPECT_FALSE(named.registerCheck("", &check).ok());

  registration.reset();
  named.post("com.veltro.session.write", 8);
  std::this_thread::sleep_for(20ms);
  EXPECT_EQ(deliveries, 1);

  // The thermal level posts only when it changes.
  std::atomic<int> thermal{0};
  std::unique_ptr<platform::NotifyRegistration> thermalRegistration;
  ASSERT_TRUE(named
                  .registerDispatch(
                      platform::kThermalLevelNotification, *queue, [&](int32_t) { ++thermal; },
                      &thermalRegistration)
                  .ok());
  named.setThermalLevel(0);
  named.setThermalLevel(2);
  named.setThermalLevel(2);
  ASSERT_TRUE(Eventually([&] { return thermal == 1; }));
  EXPECT_EQ(named.thermalLevel(), 2);
}

TEST(LinuxDispatchTest, PressureReachesResumedSourcesOfItsLevel) {
  Fixture f;
  EXPECT_EQ(f.pressure.start(), "");  // no trigger file, no bus
  auto queue = f.dispatch.createSerialQueue("pressure", QualityOfService::kDefault);
  std::atomic<int> warnings{0}, criticals{0}, idle{0};
  auto warning = f.dispatch.createMemoryPressureSource(platform::kMemoryPressureWarning, *queue);
  warning->setHandler([&] { ++warnings; });
  warning->resume();
  auto critical = f.dispatch.createMemoryPressureSource(platform::kMemoryPressureCritical, *queue);
  critical->setHandler([&] { ++criticals; });
  critical->resume();
  auto notResumed = f.dispatch.createMemoryPressureSource(platform::kMemoryPressureWarning, *queue);
  notResumed->setHandler([&] { ++idle; });
  f.loop.post([&] { f.pressure.fire(platform::kMemoryPressureWarning); });
  ASSERT_TRUE(Eventually([&] { return warnings == 1; }));
  warning.reset();
  f.loop.post([&] { f.pressure.fire(platform::kMemoryPressureWarning); });
  f.loop.post([&] { f.pressure.fire(platform::kMemoryPressureCritical); });
  ASSERT_TRUE(Eventually([&] { return criticals == 1; }));
  EXPECT_EQ(warnings, 1);
  EXPECT_EQ(idle, 0);
}

}  // namespace
}  // namespace tl::linuxdev
