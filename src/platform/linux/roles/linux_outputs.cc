// LinuxOutputs: serialised hand-over to the sink, the journal, and local IPC connections.
#include "platform/linux/roles/linux_outputs.h"

#include <syslog.h>
#include <systemd/sd-journal.h>

#include <cstdio>
#include <cstdlib>

#include "platform/dispatch.h"

namespace tl::linuxdev {

using namespace platform;

LinuxOutputs::LinuxOutputs(OutputSink& sink, Clock& clock, Environment& environment)
    : sink_(sink),
      clock_(clock),
      environment_(environment),
      journal_(std::getenv("JOURNAL_STREAM") != nullptr) {}

DeviceMoment LinuxOutputs::now() const {
  // The output clock of a real device is its wall clock.
  const double wallClock = clock_.now();
  return MomentAt(wallClock, wallClock, environment_);
}

void LinuxOutputs::addValueForScalarKey(std::string_view key, int64_t value) {
  MutexLock lock(mutex_);
  sink_.scalar(now(), key, value);
}

void LinuxOutputs::pushValueForDistributionKey(std::string_view key, double value) {
  MutexLock lock(mutex_);
  sink_.distribution(now(), key, value);
}

void LinuxOutputs::batchKeys(const KeyValues* first, const KeyValues* second) {
  MutexLock lock(mutex_);
  sink_.batch(now(), first, second);
}

void LinuxOutputs::write(std::string_view line) {
  MutexLock lock(mutex_);
  if (journal_) {
    sd_journal_print(LOG_INFO, "%.*s", static_cast<int>(line.size()), line.data());
  } else {
    std::fprintf(stderr, "tallyd: %.*s\n", static_cast<int>(line.size()), line.data());
  }
  sink_.log(now(), line);
}

void LinuxOutputs::ipc(const std::string& service, const WispObject& message) {
  MutexLock lock(mutex_);
  sink_.ipc(now(), service, message);
}

class LinuxIpc::Connection : public WispConnection {
 public:
  Connection(LinuxIpc& ipc, std::string service, bool reachable)
      : ipc_(ipc), service_(std::move(service)), reachable_(reachable) {}

  void setEventHandler(std::function<void(const WispObject&)> handler) override {
    handler_ = std::make_shared<std::function<void(const WispObject&)>>(std::move(handler));
  }
  void resume() override {}
  void sendMessage(const WispObject& message) override {
    if (reachable_) {
      ipc_.outputs_.ipc(service_, message);
      return;
    }
    if (!handler_) return;
    ipc_.libraryQueue_.async(
        [handler = handler_] { (*handler)(*WispObject::makeError(kWispErrorConnectionInvalid)); });
  }

 private:
  LinuxIpc& ipc_;
  std::string service_;
  bool reachable_;
  std::shared_ptr<std::function<void(const WispObject&)>> handler_;
};

std::unique_ptr<WispConnection> LinuxIpc::createConnection(const std::string& serviceName,
                                                           uint64_t) {
  return std::make_unique<Connection>(*this, serviceName, services_.count(serviceName) != 0);
}

}  // namespace tl::linuxdev
