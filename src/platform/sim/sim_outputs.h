// SimOutputs: everything the module sends out of the simulated device, stamped with virtual time.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/ipc.h"
#include "platform/statistics_client.h"
#include "platform/system_log.h"

namespace tl::sim {

// Receives each output as it happens; at is seconds since the trace's start.
class OutputSink {
 public:
  virtual ~OutputSink() = default;
  virtual void scalar(double at, std::string_view key, int64_t value) {}
  virtual void distribution(double at, std::string_view key, double value) {}
  virtual void batch(double at, const platform::KeyValues* first,
                     const platform::KeyValues* second) {}
  virtual void log(double at, std::string_view line) {}
  virtual void ipc(double at, const std::string& service, const platform::WispObject& message) {}
  virtual void powerAck(double at, intptr_t id) {}
  virtual void simCrash(double at, uint32_t code, const std::string& reason) {}
};

// Plays the statistics daemon's client and the system log for the simulated device: it keeps
// every output for inspection and hands it to the sink, if any.
class SimOutputs : public platform::StatisticsClient, public platform::SystemLog {
 public:
  struct Scalar {
    double at;
    std::string key;
    int64_t value;
  };
  struct Distribution {
    double at;
    std::string key;
    double value;
  };
  struct Batch {
    double at;
    std::optional<platform::KeyValues> first;
    std::optional<platform::KeyValues> second;
  };
  struct Line {
    double at;
    std::string text;
  };
  struct Message {
    double at;
    std::string service;
    platform::WispRef message;
  };
  struct Crash {
    double at;
    uint32_t code;
    std::string reason;
  };

  explicit SimOutputs(std::function<double()> clock) : clock_(std::move(clock)) {}
  void setSink(OutputSink* sink) { sink_ = sink; }

  // StatisticsClient.
  void addValueForScalarKey(std::string_view key, int64_t value) override;
  void pushValueForDistributionKey(std::string_view key, double value) override;
  void batchKeys(const platform::KeyValues* first, const platform::KeyValues* second) override;
  // SystemLog.
  void write(std::string_view line) override;

  void ipc(const std::string& service, const platform::WispObject& message);
  void powerAck(intptr_t id);
  void simCrash(uint32_t code, const std::string& reason);

  const std::vector<Scalar>& scalars() const { return scalars_; }
  const std::vector<Distribution>& distributions() const { return distributions_; }
  const std::vector<Batch>& batches() const { return batches_; }
  const std::vector<Line>& logs() const { return logs_; }
  const std::vector<Message>& messages() const { return messages_; }
  const std::vector<intptr_t>& powerAcks() const { return acks_; }
  const std::vector<Crash>& crashes() const { return crashes_; }
  // Whether some log line equals text.
  bool logged(std::string_view text) const;
  void clear();

 private:
  std::function<double()> clock_;
  OutputSink* sink_ = nullptr;
  std::vector<Scalar> scalars_;
  std::vector<Distribution> distributions_;
  std::vector<Batch> batches_;
  std::vector<Line> logs_;
  std::vector<Message> messages_;
  std::vector<intptr_t> acks_;
  std::vector<Crash> crashes_;
};

}  // namespace tl::sim
