// LinuxNamedNotifications: system-wide named notifications inside the daemon, posted by the
// device's sources and, over the session bus, by `tallyd notify`; and the thermal level.
#pragma once

#include <atomic>
#include <map>
#include <memory>

#include "base/mutex.h"
#include "platform/named_notifications.h"

namespace tl::linuxdev {

class LinuxNamedNotifications : public platform::NamedNotifications {
 public:
  ~LinuxNamedNotifications() override;

  Status registerDispatch(const std::string& name, platform::Queue& queue, Handler handler,
                          std::unique_ptr<platform::NotifyRegistration>* out) override;
  Status registerCheck(const std::string& name,
                       std::unique_ptr<platform::NotifyRegistration>* out) override;
  Status getState(int32_t token, uint64_t* state) override;
  int64_t thermalLevel() override { return thermalLevel_; }

  // Sets name's state and delivers it to every registration for the name; callable anywhere.
  void post(const std::string& name, uint64_t state);
  // Sets a state without delivering it (a source's value before the module starts).
  void setState(const std::string& name, uint64_t state);
  // Sets the level and posts the thermal-level notification when it changed.
  void setThermalLevel(int64_t level);

 private:
  struct Entry;
  class Token;
  Status add(const std::string& name, platform::Queue* queue, Handler handler,
             std::unique_ptr<platform::NotifyRegistration>* out);

  Mutex mutex_;
  std::map<std::string, uint64_t, std::less<>> states_ TL_GUARDED_BY(mutex_);
  std::map<int32_t, std::shared_ptr<Entry>> active_ TL_GUARDED_BY(mutex_);
  int32_t nextToken_ TL_GUARDED_BY(mutex_) = 1;
  std::atomic<int64_t> thermalLevel_{0};
};

}  // namespace tl::linuxdev
