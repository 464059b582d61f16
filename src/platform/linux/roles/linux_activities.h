// LinuxActivities: the background activity scheduler of the Linux device: in-process, on the
// boot-time clock, with each activity's last run kept in the state directory.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "platform/activity_scheduler.h"
#include "platform/dispatch.h"
#include "platform/linux/loop/event_loop.h"

namespace tl::linuxdev {

// When an activity falls due: one interval after its last run (wall-clock seconds, so that the
// schedule survives a restart or a reboot), never later than one interval from now (a clock
// set back) and never before now. Without a last run, one interval from now.
double SecondsUntilDue(std::optional<double> lastRun, double now, double interval);

class LinuxActivities : public platform::ActivityScheduler {
 public:
  // Handlers run on queue. screenOff answers, on the loop thread, whether the display sleeps;
  // wallClock gives the wall-clock seconds. Last runs are kept in lastRunDirectory.
  LinuxActivities(EventLoop& loop, platform::Queue& queue, std::string lastRunDirectory,
                  std::function<bool()> screenOff, std::function<double()> wallClock);
  ~LinuxActivities() override;

  // A due activity that needs the screen asleep waits for it, at most its grace period; then it
  // runs anyway.
  std::unique_ptr<platform::Registration> registerActivity(
      const std::string& name, const platform::ActivityCriteria& criteria,
      Handler handler) override;

  // From the display-power source, on the loop thread.
  void screenChanged();

 private:
  struct Activity;
  class ActivityRegistration;
  static int OnTimer(sd_event_source* source, uint64_t usec, void* data);
  void arm(Activity& activity, double seconds) TL_REQUIRES(loop_);
  void due(Activity& activity) TL_REQUIRES(loop_);
  void run(Activity& activity) TL_REQUIRES(loop_);
  std::optional<double> lastRun(const std::string& name) const;
  void keepLastRun(const std::string& name, double at) const;

  EventLoop& loop_;
  platform::Queue& queue_;
  std::string directory_;
  std::function<bool()> screenOff_;
  std::function<double()> wallClock_;
  std::map<std::string, std::shared_ptr<Activity>> activities_ TL_GUARDED_BY(loop_);
};

}  // namespace tl::linuxdev
