// LogindSleep: system sleep and wake from logind, held back by a delay inhibitor.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "platform/linux/loop/bus.h"
#include "platform/linux/loop/event_loop.h"
#include "platform/linux/loop/guarded.h"
#include "platform/linux/power/wake_reason.h"

namespace tl::linuxdev {

// Holds a "sleep" delay inhibitor while the system is awake. PrepareForSleep(true) becomes a
// will-sleep message with a fresh notification id; acknowledging that id closes the inhibitor's
// descriptor, which lets logind go on. PrepareForSleep(false) becomes has-powered-on, with the
// wake reason read first, and the inhibitor is taken again.
class LogindSleep {
 public:
  struct Handlers {
    std::function<void(intptr_t id)> willSleep;  // on the loop thread
    std::function<void()> poweredOn;             // on the loop thread
  };

  LogindSleep(EventLoop& loop, sd_bus* systemBus, std::string sysRoot, Handlers handlers);
  ~LogindSleep();

  // Takes the inhibitor (blocking; before the loop runs) and watches PrepareForSleep; the
  // failure says why not ("no logind: ...", "inhibitor refused: Access denied").
  Status start();
  // Lets sleep go on once the will-sleep message with id is handled; callable from any queue.
  void acknowledge(intptr_t id);
  // The reason of the last wake, "" before the first or when nothing is known.
  std::string wakeReason() const { return wakeReason_.get(); }

  bool holdingInhibitor() const { return inhibitor_ >= 0; }

 private:
  static int OnPrepareForSleep(sd_bus_message* message, void* self, sd_bus_error* error);
  static int OnInhibitReply(sd_bus_message* message, void* self, sd_bus_error* error);
  // Takes it now (the outcome says why not) or, from the loop, when logind answers.
  Status takeInhibitor();
  void askForInhibitor();
  Status setInhibitor(sd_bus_message* reply);
  void release();

  EventLoop& loop_;
  sd_bus* bus_;
  std::string sysRoot_;
  Handlers handlers_;
  SlotPtr match_;
  SlotPtr inhibitCall_;
  std::atomic<int> inhibitor_{-1};  // loop thread writes; read anywhere for the log
  intptr_t pendingId_ = 0;          // loop thread
  intptr_t nextId_ = 0;             // loop thread
  WakeupCounts countsBeforeSleep_;  // loop thread
  Guarded<std::string> wakeReason_;
};

}  // namespace tl::linuxdev
