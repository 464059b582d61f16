// OutputSink: what receives everything the module sends out of a device: statistics, log lines,
// IPC messages, power acknowledgements and crash reports.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/ipc.h"
#include "platform/statistics_client.h"

namespace tl::platform {

// Receives each output as it happens; at is seconds on the device's output clock: since the
// trace's start on the simulated device, since 1970 on a real one. Every argument is only valid
// during the call.
class OutputSink {
 public:
  virtual ~OutputSink() = default;
  virtual void scalar(double at, std::string_view key, int64_t value) {}
  virtual void distribution(double at, std::string_view key, double value) {}
  virtual void batch(double at, const KeyValues* first, const KeyValues* second) {}
  virtual void log(double at, std::string_view line) {}
  virtual void ipc(double at, const std::string& service, const WispObject& message) {}
  virtual void powerAck(double at, intptr_t id) {}
  virtual void simCrash(double at, uint32_t code, const std::string& reason) {}
};

}  // namespace tl::platform
