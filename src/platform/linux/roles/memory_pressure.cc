// MemoryPressure: the PSI trigger, the bus signal and the sources that deliver them.
#include "platform/linux/roles/memory_pressure.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace tl::linuxdev {

struct MemoryPressure::Subscriber {
  unsigned mask = 0;
  platform::Queue* target = nullptr;
  Mutex mutex;
  platform::Task handler TL_GUARDED_BY(mutex);
  bool resumed TL_GUARDED_BY(mutex) = false;
};

class MemoryPressure::Source : public platform::MemoryPressureSource {
 public:
  Source(MemoryPressure& owner, std::shared_ptr<Subscriber> subscriber)
      : owner_(owner), subscriber_(std::move(subscriber)) {}
  ~Source() override {
    {
      MutexLock lock(subscriber_->mutex);
      subscriber_->resumed = false;
      subscriber_->handler = nullptr;
    }
    MutexLock lock(owner_.mutex_);
    std::erase(owner_.subscribers_, subscriber_);
  }
  void setHandler(platform::Task handler) override {
    MutexLock lock(subscriber_->mutex);
    subscriber_->handler = std::move(handler);
  }
  void resume() override {
    MutexLock lock(subscriber_->mutex);
    subscriber_->resumed = true;
  }

 private:
  MemoryPressure& owner_;
  std::shared_ptr<Subscriber> subscriber_;
};

unsigned PressureLevelFromLowMemoryWarning(uint8_t level) {
  if (level == 0) return 0;
  return level >= 255 ? platform::kMemoryPressureCritical : platform::kMemoryPressureWarning;
}

MemoryPressure::~MemoryPressure() {
  if (psi_) sd_event_source_disable_unref(psi_);
  if (psiFd_ >= 0) ::close(psiFd_);
}

std::string MemoryPressure::start() {
  psiFd_ = ::open(pressureFile_.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
  static constexpr char kTrigger[] = "some 200000 2000000";
  if (psiFd_ >= 0 && ::write(psiFd_, kTrigger, sizeof kTrigger) > 0 &&
      sd_event_add_io(loop_.event(), &psi_, psiFd_, EPOLLPRI, OnPsi, this) >= 0) {
    return "pressure stall information";
  }
  if (psiFd_ >= 0) ::close(psiFd_);
  psiFd_ = -1;
  sd_bus_slot* slot = nullptr;
  if (bus_ &&
      sd_bus_match_signal(bus_, &slot, "org.freedesktop.LowMemoryMonitor",
                          "/org/freedesktop/LowMemoryMonitor", "org.freedesktop.LowMemoryMonitor",
                          "LowMemoryWarning", OnLowMemoryWarning, this) >= 0) {
    match_.reset(slot);
    return "low-memory-monitor";
  }
  return "";
}

std::unique_ptr<platform::MemoryPressureSource> MemoryPressure::createSource(
    unsigned mask, platform::Queue& target) {
  auto subscriber = std::make_shared<Subscriber>();
  subscriber->mask = mask;
  subscriber->target = &target;
  {
    MutexLock lock(mutex_);
    subscribers_.push_back(subscriber);
  }
  return std::make_unique<Source>(*this, std::move(subscriber));
}

void MemoryPressure::fire(unsigned level) {
  MutexLock lock(mutex_);
  for (const auto& subscriber : subscribers_) {
    if (!(subscriber->mask & level)) continue;
    subscriber->target->async([subscriber] {
      platform::Task handler;
      {
        MutexLock lock(subscriber->mutex);
        if (!subscriber->resumed || !subscriber->handler) return;
        handler = subscriber->handler;
      }
      handler();
    });
  }
}

int MemoryPressure::OnPsi(sd_event_source*, int, uint32_t revents, void* self) {
  auto& pressure = *static_cast<MemoryPressure*>(self);
  pressure.loop_.assertOnLoopThread();
  if (revents & EPOLLPRI) pressure.fire(platform::kMemoryPressureWarning);
  return 0;
}

int MemoryPressure::OnLowMemoryWarning(sd_bus_message* message, void* self, sd_bus_error*) {
  auto& pressure = *static_cast<MemoryPressure*>(self);
  pressure.loop_.assertOnLoopThread();
  uint8_t level = 0;
  if (sd_bus_message_read(message, "y", &level) < 0) return 0;
  if (unsigned mapped = PressureLevelFromLowMemoryWarning(level)) pressure.fire(mapped);
  return 0;
}

}  // namespace tl::linuxdev
