// PowerTimeline: follows the module's power notifications on a device and turns each into a
// timeline row, with the device's base state and battery as the daemon sees them then.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "host/store/timeline.h"
#include "platform/device_moment.h"
#include "platform/platform.h"

namespace tl::host {

using platform::DeviceMoment;

// The device's moment now, on its wall clock.
DeviceMoment Now(platform::Platform& device);
// The local day of t as the store files it: "YYYY-MM-DD".
std::string DayText(const platform::LocalTime& t);
// The timeline's row for event at moment, with its time, local day and UTC offset filled in.
TimelineRow RowAt(const DeviceMoment& moment, const char* event);

class PowerTimeline {
 public:
  // write stores one row; it runs on the thread that posted the notification.
  using Write = std::function<void(const TimelineRow&)>;

  PowerTimeline(platform::Platform& device, Write write);
  ~PowerTimeline();

  // A daemon started: reads the present conditions as the module's start-up does, writes a
  // "start" row and begins following the notifications.
  void start();
  // The daemon stops in order; a new process says so for the one before it, whose state it
  // does not know.
  void stop();

 private:
  void observe(const platform::Notification& notification);
  void write(const char* event, const platform::Dictionary* battery = nullptr,
             const std::string* wakeReason = nullptr);
  void setBit(int bit, bool on) { state_ = on ? (state_ | bit) : (state_ & ~bit); }

  platform::Platform& device_;
  Write write_;
  int state_ = 0;
  bool started_ = false;
  std::unique_ptr<platform::Registration> observer_;
};

}  // namespace tl::host
