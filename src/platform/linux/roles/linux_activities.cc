// LinuxActivities: boot-time timers, the screen-sleep condition with its grace period, and the
// last-run files.
#include "platform/linux/roles/linux_activities.h"

#include <time.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "base/saturated_cast.h"

namespace tl::linuxdev {

using platform::ActivityState;

struct LinuxActivities::Activity {
  LinuxActivities* owner;
  std::string name;
  platform::ActivityCriteria criteria;
  std::shared_ptr<Handler> handler;
  std::shared_ptr<std::atomic<bool>> live = std::make_shared<std::atomic<bool>>(true);
  std::unique_ptr<sd_event_source, EventSourceDeleter> timer;
  bool waitingForScreen = false;
};

// Destroying it unregisters the activity on the loop thread; its handler is not called after.
class LinuxActivities::ActivityRegistration : public platform::Registration {
 public:
  ActivityRegistration(LinuxActivities& owner, std::shared_ptr<Activity> activity)
      : owner_(owner), activity_(std::move(activity)) {}
  ~ActivityRegistration() override {
    *activity_->live = false;
    LinuxActivities& owner = owner_;
    owner.loop_.post([&owner, activity = activity_] {
      owner.loop_.assertOnLoopThread();
      auto it = owner.activities_.find(activity->name);
      if (it != owner.activities_.end() && it->second == activity) owner.activities_.erase(it);
      activity->timer.reset();
    });
  }

 private:
  LinuxActivities& owner_;
  std::shared_ptr<Activity> activity_;
};

namespace {

uint64_t BootTimeMicroseconds() {
  timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1000000 + static_cast<uint64_t>(now.tv_nsec) / 1000;
}

}  // namespace

double SecondsUntilDue(std::optional<double> lastRun, double now, double interval) {
  if (!lastRun) return interval;
  return std::clamp(*lastRun + interval - now, 0.0, interval);
}

LinuxActivities::LinuxActivities(EventLoop& loop, platform::Queue& queue,
                                 std::string lastRunDirectory, std::function<bool()> screenOff,
                                 std::function<double()> wallClock)
    : loop_(loop),
      queue_(queue),
      directory_(std::move(lastRunDirectory)),
      screenOff_(std::move(screenOff)),
      wallClock_(std::move(wallClock)) {}

LinuxActivities::~LinuxActivities() = default;

std::unique_ptr<platform::Registration> LinuxActivities::registerActivity(
    const std::string& name, const platform::ActivityCriteria& criteria, Handler handler) {
  auto activity = std::make_shared<Activity>();
  activity->owner = this;
  activity->name = name;
  activity->criteria = criteria;
  activity->handler = std::make_shared<Handler>(std::move(handler));
  queue_.async([live = activity->live, handler = activity->handler] {
    if (*live) (*handler)(ActivityState::kCheckIn);
  });
  loop_.post([this, activity] {
    loop_.assertOnLoopThread();
    if (!*activity->live) return;
    activities_[activity->name] = activity;
    arm(*activity, SecondsUntilDue(lastRun(activity->name), wallClock_(),
                                   static_cast<double>(activity->criteria.intervalSeconds)));
  });
  return std::make_unique<ActivityRegistration>(*this, std::move(activity));
}

void LinuxActivities::arm(Activity& activity, double seconds) {
  sd_event_source* source = nullptr;
  const uint64_t at = BootTimeMicroseconds() + SaturatedCast<uint64_t>(seconds * 1e6);
  // A leeway of a minute lets the loop fire it with another wake-up.
  if (sd_event_add_time(loop_.event(), &source, CLOCK_BOOTTIME, at, 60 * 1000000, OnTimer,
                        &activity) >= 0) {
    activity.timer.reset(source);
  }
}

int LinuxActivities::OnTimer(sd_event_source*, uint64_t, void* data) {
  auto& activity = *static_cast<Activity*>(data);
  LinuxActivities& owner = *activity.owner;
  owner.loop_.assertOnLoopThread();
  if (activity.waitingForScreen) {
    // The grace period is over: run without the condition.
    activity.waitingForScreen = false;
    owner.run(activity);
  } else {
    owner.due(activity);
  }
  return 0;
}

void LinuxActivities::due(Activity& activity) {
  if (activity.criteria.requiresScreenSleep && !screenOff_()) {
    activity.waitingForScreen = true;
    arm(activity, static_cast<double>(activity.criteria.gracePeriodSeconds));
    return;
  }
  run(activity);
}

void LinuxActivities::screenChanged() {
  loop_.assertOnLoopThread();
  if (!screenOff_()) return;
  std::vector<std::shared_ptr<Activity>> waiting;
  for (const auto& [name, activity] : activities_) {
    if (activity->waitingForScreen) waiting.push_back(activity);
  }
  for (const auto& activity : waiting) {
    activity->waitingForScreen = false;
    run(*activity);
  }
}

void LinuxActivities::run(Activity& activity) {
  activity.timer.reset();
  keepLastRun(activity.name, wallClock_());
  queue_.async([live = activity.live, handler = activity.handler] {
    if (*live) (*handler)(ActivityState::kRun);
  });
  if (activity.criteria.repeating) {
    arm(activity, static_cast<double>(activity.criteria.intervalSeconds));
  }
}

std::optional<double> LinuxActivities::lastRun(const std::string& name) const {
  std::ifstream in(directory_ + "/" + name);
  double at = 0;
  if (!(in >> at)) return std::nullopt;
  return at;
}

// Written aside and renamed, so that a crash leaves the old time or the new one.
void LinuxActivities::keepLastRun(const std::string& name, double at) const {
  std::error_code error;
  std::filesystem::create_directories(directory_, error);
  const std::string path = directory_ + "/" + name;
  {
    std::ofstream out(path + ".new", std::ios::trunc);
    out << static_cast<int64_t>(at) << '\n';
    if (!out.flush()) return;
  }
  std::rename((path + ".new").c_str(), path.c_str());
}

}  // namespace tl::linuxdev
