// LinuxApplications: honest empty answers of the application roles.
#include "platform/linux/linux_applications.h"

#include <atomic>

namespace tl::linuxdev {

using namespace platform;

namespace {

class IdleMonitor : public ApplicationStateMonitor {
 public:
  explicit IdleMonitor(Queue& queue) : queue_(queue) {}
  void setHandler(Handler) override {}
  void applicationInfoForPid(int32_t, Handler completion) override {
    queue_.async([completion = std::move(completion)] { completion(Dictionary()); });
  }

 private:
  Queue& queue_;
};

class Cancelled : public Registration {
 public:
  explicit Cancelled(std::shared_ptr<std::atomic<bool>> live) : live_(std::move(live)) {}
  ~Cancelled() override { *live_ = false; }

 private:
  std::shared_ptr<std::atomic<bool>> live_;
};

}  // namespace

std::unique_ptr<ApplicationStateMonitor> LinuxApplications::createStateMonitor() {
  return std::make_unique<IdleMonitor>(queue_);
}

std::unique_ptr<Registration> LinuxApplications::addWorkspaceObserver(WorkspaceObserver&) {
  return std::make_unique<Registration>();
}

ProxyRef LinuxApplications::proxyForIdentifier(const std::string& bundleIdentifier) {
  auto proxy = std::make_shared<RSApplicationProxy>();
  proxy->bundleIdentifier = bundleIdentifier;
  return proxy;
}

std::unique_ptr<Registration> LinuxApplications::registerActivity(const std::string&,
                                                                  const ActivityCriteria&,
                                                                  Handler handler) {
  auto live = std::make_shared<std::atomic<bool>>(true);
  queue_.async([live, handler = std::move(handler)] {
    if (*live) handler(ActivityState::kCheckIn);
  });
  return std::make_unique<Cancelled>(std::move(live));
}

}  // namespace tl::linuxdev
