// LogindSleep: the inhibitor, PrepareForSleep and the wake reason.
#include "platform/linux/power/logind_sleep.h"

#include <fcntl.h>
#include <unistd.h>

namespace tl::linuxdev {

namespace {
constexpr char kLogind[] = "org.freedesktop.login1";
constexpr char kLogindPath[] = "/org/freedesktop/login1";
constexpr char kManager[] = "org.freedesktop.login1.Manager";
}  // namespace

LogindSleep::LogindSleep(EventLoop& loop, sd_bus* systemBus, std::string sysRoot, Handlers handlers)
    : loop_(loop), bus_(systemBus), sysRoot_(std::move(sysRoot)), handlers_(std::move(handlers)) {}

LogindSleep::~LogindSleep() { release(); }

bool LogindSleep::start() {
  if (!bus_) return false;
  sd_bus_slot* slot = nullptr;
  if (sd_bus_match_signal(bus_, &slot, kLogind, kLogindPath, kManager, "PrepareForSleep",
                          OnPrepareForSleep, this) < 0) {
    return false;
  }
  match_.reset(slot);
  takeInhibitor(/*blocking=*/true);
  return holdingInhibitor();
}

void LogindSleep::takeInhibitor(bool blocking) {
  static constexpr char kWhy[] = "Books the power state before the system sleeps";
  if (blocking) {
    sd_bus_message* reply = nullptr;
    BusError error;
    const int r = sd_bus_call_method(bus_, kLogind, kLogindPath, kManager, "Inhibit", error.get(),
                                     &reply, "ssss", "sleep", "tallyd", kWhy, "delay");
    const MessagePtr owned(reply);
    if (r >= 0) setInhibitor(reply);
    return;
  }
  sd_bus_slot* slot = nullptr;
  if (sd_bus_call_method_async(bus_, &slot, kLogind, kLogindPath, kManager, "Inhibit",
                               OnInhibitReply, this, "ssss", "sleep", "tallyd", kWhy,
                               "delay") >= 0) {
    inhibitCall_.reset(slot);
  }
}

int LogindSleep::OnInhibitReply(sd_bus_message* reply, void* self, sd_bus_error*) {
  auto* sleep = static_cast<LogindSleep*>(self);
  if (!sd_bus_message_is_method_error(reply, nullptr)) sleep->setInhibitor(reply);
  return 0;
}

void LogindSleep::setInhibitor(sd_bus_message* reply) {
  int fd = -1;
  if (sd_bus_message_read(reply, "h", &fd) < 0) return;
  // The message owns its descriptor; the inhibitor is held by a copy of it.
  const int held = ::fcntl(fd, F_DUPFD_CLOEXEC, 3);
  if (held < 0) return;
  release();
  inhibitor_ = held;
}

void LogindSleep::release() {
  const int fd = inhibitor_.exchange(-1);
  if (fd >= 0) ::close(fd);
}

int LogindSleep::OnPrepareForSleep(sd_bus_message* message, void* self, sd_bus_error*) {
  auto* sleep = static_cast<LogindSleep*>(self);
  int start = 0;
  if (sd_bus_message_read(message, "b", &start) < 0) return 0;
  if (start) {
    sleep->countsBeforeSleep_ = ReadWakeupCounts(sleep->sysRoot_);
    sleep->pendingId_ = ++sleep->nextId_;
    sleep->handlers_.willSleep(sleep->pendingId_);
    return 0;
  }
  // Awake again: the reason first, so that the wake's readers find it.
  const auto irq = ReadWakeupIrq(sleep->sysRoot_);
  sleep->wakeReason_.replace(
      WakeReasonTokens(irq, irq ? ReadIrqActions(sleep->sysRoot_, *irq) : "",
                       sleep->countsBeforeSleep_, ReadWakeupCounts(sleep->sysRoot_)),
      [](const std::string&, const std::string&) { return false; });
  sleep->pendingId_ = 0;
  sleep->handlers_.poweredOn();
  if (!sleep->holdingInhibitor()) sleep->takeInhibitor(/*blocking=*/false);
  return 0;
}

void LogindSleep::acknowledge(intptr_t id) {
  loop_.post([this, id] {
    if (id != 0 && id == pendingId_) release();
  });
}

}  // namespace tl::linuxdev
