// LogindSleep: the inhibitor, PrepareForSleep and the wake reason.
#include "platform/linux/power/logind_sleep.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace tl::linuxdev {

namespace {
constexpr char kLogind[] = "org.freedesktop.login1";
constexpr char kLogindPath[] = "/org/freedesktop/login1";
constexpr char kManager[] = "org.freedesktop.login1.Manager";
constexpr char kWhy[] = "Books the power state before the system sleeps";
}  // namespace

LogindSleep::LogindSleep(EventLoop& loop, sd_bus* systemBus, std::string sysRoot, Handlers handlers)
    : loop_(loop), bus_(systemBus), sysRoot_(std::move(sysRoot)), handlers_(std::move(handlers)) {}

LogindSleep::~LogindSleep() { release(); }

Status LogindSleep::start() {
  if (!bus_) return NoBus("system");
  sd_bus_slot* slot = nullptr;
  const int r = sd_bus_match_signal(bus_, &slot, kLogind, kLogindPath, kManager, "PrepareForSleep",
                                    OnPrepareForSleep, this);
  if (r < 0) return ReturnStatus(r).prefixed("cannot watch logind");
  match_.reset(slot);
  return takeInhibitor();
}

Status LogindSleep::takeInhibitor() {
  sd_bus_message* reply = nullptr;
  BusError error;
  const int r = sd_bus_call_method(bus_, kLogind, kLogindPath, kManager, "Inhibit", error.get(),
                                   &reply, "ssss", "sleep", "tallyd", kWhy, "delay");
  const MessagePtr owned(reply);
  if (error.is(SD_BUS_ERROR_SERVICE_UNKNOWN) || error.is(SD_BUS_ERROR_NAME_HAS_NO_OWNER)) {
    return BusStatus(r, error).prefixed("no logind");
  }
  if (r < 0) return BusStatus(r, error).prefixed("inhibitor refused");
  return setInhibitor(reply).prefixed("inhibitor refused");
}

void LogindSleep::askForInhibitor() {
  sd_bus_slot* slot = nullptr;
  if (sd_bus_call_method_async(bus_, &slot, kLogind, kLogindPath, kManager, "Inhibit",
                               OnInhibitReply, this, "ssss", "sleep", "tallyd", kWhy,
                               "delay") >= 0) {
    inhibitCall_.reset(slot);
  }
}

int LogindSleep::OnInhibitReply(sd_bus_message* reply, void* self, sd_bus_error*) {
  auto* sleep = static_cast<LogindSleep*>(self);
  sleep->loop_.assertOnLoopThread();
  if (!sd_bus_message_is_method_error(reply, nullptr)) sleep->setInhibitor(reply).IgnoreError();
  return 0;
}

Status LogindSleep::setInhibitor(sd_bus_message* reply) {
  int fd = -1;
  if (const int r = sd_bus_message_read(reply, "h", &fd); r < 0) return ReturnStatus(r);
  // The message owns its descriptor; the inhibitor is held by a copy of it.
  const int held = ::fcntl(fd, F_DUPFD_CLOEXEC, 3);
  if (held < 0) return Status::FromErrno(errno);
  release();
  inhibitor_ = held;
  return Status::OK();
}

void LogindSleep::release() {
  const int fd = inhibitor_.exchange(-1);
  if (fd >= 0) ::close(fd);
}

int LogindSleep::OnPrepareForSleep(sd_bus_message* message, void* self, sd_bus_error*) {
  auto* sleep = static_cast<LogindSleep*>(self);
  sleep->loop_.assertOnLoopThread();
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
  if (!sleep->holdingInhibitor()) sleep->askForInhibitor();
  return 0;
}

void LogindSleep::acknowledge(intptr_t id) {
  loop_.post([this, id] {
    if (id != 0 && id == pendingId_) release();
  });
}

}  // namespace tl::linuxdev
