// SimOutputs: everything the module sends out of the simulated device, stamped with the device's
// moment and handed to sinks.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/device_moment.h"
#include "platform/ipc.h"
#include "platform/output_sink.h"
#include "platform/statistics_client.h"
#include "platform/system_log.h"

namespace tl::sim {

using platform::OutputSink;

// Plays the statistics daemon's client and the system log for the simulated device, and takes
// the device's IPC messages, power acknowledgements and crash reports. It keeps nothing: each
// output goes to the sinks, in the order they were added, and is gone.
class SimOutputs : public platform::StatisticsClient, public platform::SystemLog {
 public:
  // stamp reads the device's moment; it is asked once an output, and only when a sink listens.
  explicit SimOutputs(std::function<platform::DeviceMoment()> stamp) : stamp_(std::move(stamp)) {}

  // A sink must stay alive until it is removed.
  void addSink(OutputSink& sink) { sinks_.push_back(&sink); }
  void removeSink(OutputSink& sink);

  // StatisticsClient.
  void addValueForScalarKey(std::string_view key, int64_t value) override;
  void pushValueForDistributionKey(std::string_view key, double value) override;
  void batchKeys(const platform::KeyValues* first, const platform::KeyValues* second) override;
  // SystemLog.
  void write(std::string_view line) override;

  void ipc(const std::string& service, const platform::WispObject& message);
  void powerAck(intptr_t id);
  void simCrash(uint32_t code, const std::string& reason);

 private:
  template <class F>
  void each(F send) {
    if (sinks_.empty()) return;
    const platform::DeviceMoment moment = stamp_();
    for (OutputSink* sink : sinks_) send(*sink, moment);
  }

  std::function<platform::DeviceMoment()> stamp_;
  std::vector<OutputSink*> sinks_;
};

}  // namespace tl::sim
