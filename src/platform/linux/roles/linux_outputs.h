// LinuxOutputs: the statistics client, the system log and the daemon's own IPC services of the
// Linux device, all handed to the host's sink.
#pragma once

#include <set>
#include <string>

#include "base/mutex.h"
#include "platform/clock.h"
#include "platform/environment.h"
#include "platform/ipc.h"
#include "platform/output_sink.h"
#include "platform/statistics_client.h"
#include "platform/system_log.h"

namespace tl::linuxdev {

// The module calls from several queues at once; the sink sees one call at a time, stamped with
// the wall clock and its local time. Log lines go to the journal when the daemon runs under systemd
// ($JOURNAL_STREAM), else to standard error.
class LinuxOutputs : public platform::StatisticsClient, public platform::SystemLog {
 public:
  // The clock and the environment stamp each output; they are used from the first output on.
  LinuxOutputs(platform::OutputSink& sink, platform::Clock& clock,
               platform::Environment& environment);

  void addValueForScalarKey(std::string_view key, int64_t value) override;
  void pushValueForDistributionKey(std::string_view key, double value) override;
  void batchKeys(const platform::KeyValues* first, const platform::KeyValues* second) override;
  void write(std::string_view line) override;
  void ipc(const std::string& service, const platform::WispObject& message);

 private:
  platform::DeviceMoment now() const;

  platform::OutputSink& sink_ TL_GUARDED_BY(mutex_);
  platform::Clock& clock_;
  platform::Environment& environment_;
  Mutex mutex_;
  bool journal_;
};

// Connections reach the services the daemon itself provides (its daily-report service); any
// other service is not there, and its connection says so to its handler. There is no raw
// message transport on Linux: every exchange fails as with an invalid destination.
class LinuxIpc : public platform::Ipc, public platform::MessageTransport {
 public:
  LinuxIpc(LinuxOutputs& outputs, std::set<std::string> services, platform::Queue& libraryQueue)
      : outputs_(outputs), services_(std::move(services)), libraryQueue_(libraryQueue) {}

  std::unique_ptr<platform::WispConnection> createConnection(const std::string& serviceName,
                                                             uint64_t flags) override;
  platform::WispRef createDictionary() override { return platform::WispObject::makeDictionary(); }
  platform::WispRef createArray() override { return platform::WispObject::makeArray(); }

  uint32_t threadReplyPort() override { return 0x1103; }
  platform::ReturnCode sendReceive(platform::MessageHeader*, uint32_t, uint32_t,
                                   uint32_t) override {
    return platform::kMessageSendInvalidDest;
  }
  void destroyReplyPort(uint32_t) override {}

 private:
  class Connection;

  LinuxOutputs& outputs_;
  std::set<std::string> services_;
  platform::Queue& libraryQueue_;
};

}  // namespace tl::linuxdev
